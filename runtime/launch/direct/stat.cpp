#include "runtime/launch/direct/stat.h"

#include <utility>

#include "runtime/launch/answers.h"

namespace fileref::runtime::direct {

Stat::Stat(const Session& session, Command command)
    : session_(session),
      name_(command.remote.empty() ? "." : std::move(command.remote)),
      follows_links_(command.verb == Command::Verb::kStat) {}

void Stat::begin(sftp::Connection& connection) {
  const auto entry = follows_links_ ? std::nullopt : session_.find(name_);
  if (entry && !entry->is_followed) {
    answer_ = answer_status(entry->status());
  } else {
    asker_ = std::make_unique<sftp::Asker>(connection);
    ask();
  }
}

void Stat::ask() {
  const auto take = [this](Found* found) {
    ++awaited_;
    return [this, found](const sftp::Status& status, const sftp::Attributes& attributes) {
      --awaited_;
      *found = {status, attributes};
    };
  };
  awaited_ = 0;
  const std::string path = session_.path_of(name_);
  sftp::ask_link_attributes(*asker_, path, take(&link_));
  if (follows_links_) sftp::ask_attributes(*asker_, path, take(&behind_it_));
}

std::optional<Answer> Stat::answer() {
  if (!answer_ && awaited_ == 0) answer_ = judge();
  return answer_;
}

// A link that leads nowhere is told of as what it is.
Answer Stat::judge() const {
  const bool is_link = link_.status.is_ok() && link_.attributes.kind() == sftp::Kind::kLink;
  const bool leads_nowhere = is_link && behind_it_.status.code == sftp::kNoSuchFile;
  const Found& found = follows_links_ && !leads_nowhere ? behind_it_ : link_;
  if (found.status.is_ok()) {
    FileStatus status = status_of(found.attributes);
    if (link_.status.is_ok()) status.is_link = is_link;
    return answer_status(status);
  }
  const std::string said = said_of(session_.path_of(name_), found.status);
  return found.status.code == sftp::kNoSuchFile ? answer_missing(said) : failure(said);
}

}  // namespace fileref::runtime::direct
