#include "runtime/launch/dialogue/stat.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/directories.h"

namespace fileref::runtime {

Stat::Stat(const Dialect& dialect, Session* session, std::string name, const Command& command)
    : dialect_(dialect),
      session_(session),
      name_(std::move(name)),
      follows_links_(command.verb == Command::Verb::kStat),
      look_(dialect, command.listed_as) {}

Step Stat::begin() {
  const bool is_here = name_.empty() || name_ == ".";  // where the session stands
  if (is_here) return answer_status({'d'});
  const auto entry = follows_links_ ? std::nullopt : session_->find(name_);
  if (!entry) return look_.begin();
  if (entry->type != DirectoryListing::kUnknownType) return answer_status(entry->status());
  asks_all_ = true;
  return looking(dialect_.look_at_all(path_of_here(dialect_, *session_)));
}

Step Stat::take(const Reply& reply) {
  if (std::exchange(asks_all_, false)) {
    session_->listed = dialect_.found_all(reply, path_of_here(dialect_, *session_));
    const std::optional<DirectoryListing::Entry> entry = session_->find(name_);
    return entry ? Step(answer_status(entry->status())) : look_.begin();
  }
  if (std::optional<Request> more = look_.take(reply)) return *std::move(more);
  return judge(look_.found());
}

Answer Stat::judge(const RemoteFile& found) const {
  constexpr char kLetters[] = {FileStatus::kUnknownType, '-', 'd', 'p'};
  if (found.kind == RemoteFile::Kind::kUnknown) {
    return answer_missing("the client shows no " + quoted(name_));
  }
  return answer_status({kLetters[static_cast<int>(found.kind)], {}, found.size, found.mode});
}

}  // namespace fileref::runtime
