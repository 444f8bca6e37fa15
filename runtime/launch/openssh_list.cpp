#include "runtime/launch/openssh_list.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/openssh.h"

namespace fileref::runtime::openssh {
namespace {

bool says_nothing_is_there(std::string_view err) {
  return has_line(err, {"Can't ls: "});
}

bool says_unreadable(std::string_view err) {
  return has_line(err, {"remote readdir(\"", "Couldn't read directory", "Couldn't get handle"});
}

// The current directory was removed.
bool says_directory_is_gone(std::string_view err) {
  return says_unreadable(err) && err.find("\"): No such file or directory") != err.npos;
}

}  // namespace

Step List::begin() {
  state_ = State::kList;
  asked_ = 0;
  found_.clear();
  return looking(list_names(selection().path));
}

Step List::take(const Reply& reply) {
  switch (state_) {
    case State::kList:
      return judge(reply);
    case State::kEnter:
      return judge_silence(reply);
    case State::kAskName:
      break;
  }
  return judge_name(reply);
}

Step List::judge(const Reply& reply) {
  const std::string_view lines = behind_echo(reply.out);
  if (says_directory_is_gone(reply.err)) return refusal("no such file or directory");
  if (says_unreadable(reply.err)) return fail("the client cannot read it");
  if (lines.empty()) {
    if (says_nothing_is_there(reply.err)) return refusal("no such file or directory");
    if (!reply.err.empty()) return fail("the client complains, and lists nothing");
    // Empty, or one in which no name can be looked at.
    state_ = State::kEnter;
    return looking(dialect_.look(selection().path.empty() ? "." : selection().path + "/."));
  }
  if (names_one_file(lines)) return answer_file(selection());
  const std::string_view path = selection().path;
  const std::size_t depth = slashes(path) + (path.ends_with('/') ? 0 : 1);
  std::string why;
  listing_ = DirectoryListing::parse(lines, {false, true, depth}, &why);
  return listing_ ? next_name() : fail(why);
}

// Asked about something that is no directory, the client lists that.
bool List::names_one_file(std::string_view lines) const {
  const std::string_view path = selection().path;
  return !path.empty() && !path.ends_with('/') && lines.find('\n') + 1 == lines.size() &&
         slashes(lines) == slashes(path);
}

Step List::judge_silence(const Reply& reply) {
  if (says_nothing_is_there(reply.err)) return fail("it may be read, but not entered");
  if (!reply.err.empty()) return fail("the client complains, and lists nothing");
  std::string why;
  listing_ = DirectoryListing::parse({}, {false, true, 1}, &why);
  return answer(std::move(listing_));
}

Step List::next_name() {
  if (asked_ == listing_->unclear().size()) return answer(std::move(listing_));
  unclear_.emplace(listing_->entries()[listing_->unclear()[asked_]].name);
  return ask_name();
}

Step List::ask_name() {
  std::optional<UnclearName::Candidate> candidate = unclear_->next();
  if (!candidate) {
    const auto& entry = listing_->entries()[listing_->unclear()[asked_]];
    return fail("the true name of \"" + std::string(entry.name) + "\" cannot be found out");
  }
  candidate_ = *std::move(candidate);
  const std::string line = list_names(literal_path(selection().prefix + candidate_.name));
  if (line.size() > dialect_.longest_line())
    return fail("its path is too long to ask about its names");
  state_ = State::kAskName;
  return looking(line);
}

// The echo proves that the client shows the candidate like the name in question, and not plainly.
Step List::judge_name(const Reply& reply) {
  const std::string_view echo = std::string_view(reply.out).substr(0, reply.out.find('\n'));
  const bool fits = echo.ends_with(candidate_.shown + '"') && !says_nothing_is_there(reply.err);
  if (!fits || !found_.insert(candidate_.name).second) return ask_name();
  listing_->set_name(listing_->unclear()[asked_++], candidate_.name);
  return next_name();
}

}  // namespace fileref::runtime::openssh
