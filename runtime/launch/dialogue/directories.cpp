#include "runtime/launch/dialogue/directories.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/start_failure.h"

namespace fileref::runtime {
namespace {

// Enters one directory after the other, and asks for the last.
Request enter(const Dialect& dialect, const std::vector<std::string>& trail) {
  Request request;
  for (const std::string& name : trail) request.lines.push_back(dialect.change_directory(name));
  request.lines.emplace_back("pwd");
  return request;
}

// Where the session begins, and whether the client enters what is not there.
Request ask_directory(const Dialect& dialect) {
  Request request = looking("pwd");
  const std::string line = dialect.enter_missing();
  if (!line.empty()) request.lines = {line, "cd", "pwd"};
  return request;
}

// Whether the current directory was entered from the one to go back to.
bool came_by_name(const Session& session) {
  const std::optional<std::vector<std::string>>& trail = session.trail;
  return trail && !trail->empty() && !trail->back().starts_with('/');
}

// Where the session stands, by the names that it entered; nothing: not known.
std::optional<std::string> entered_path(const Dialect& dialect, const Session& session) {
  if (!session.trail || session.trail->empty() || !dialect.shows_exactly(session.home)) {
    return std::nullopt;
  }
  std::string path = session.home;
  for (const std::string& name : *session.trail)
    if (name.starts_with('/')) {
      path = name;
    } else {
      path.append("/").append(name);
    }
  return path;
}

}  // namespace

std::optional<std::string> listed_path(const Dialect& dialect, const Session& session,
                                       std::string_view path, std::string* why) {
  const std::string& here = session.directory;
  if (path.starts_with('/') || !dialect.expands_directory(here)) return std::string(path);
  const std::optional<std::string> exact =
      dialect.shows_exactly(here) ? here : entered_path(dialect, session);
  if (exact) return *exact + '/' + std::string(path);
  *why = "there is a brace in the name of the directory " + quoted(here) +
         ", which the client does not show exactly: enter it by its whole path";
  return std::nullopt;
}

std::string path_of_here(const Dialect& dialect, const Session& session) {
  std::string why;
  return listed_path(dialect, session, ".", &why).value_or(".");
}

Step Start::begin() {
  state_ = State::kLogin;
  return Request{};
}

Step Start::take(const Reply& reply) {
  const std::string before = session_->directory;
  const std::string now = dialect_.working_directory(reply);
  const auto lost_its_way = [&] {
    return failure("the new session does not get to " + quoted(before) + " again");
  };
  switch (state_) {
    case State::kLogin:
      state_ = State::kAskDirectory;
      return ask_directory(dialect_);
    case State::kAskDirectory:
      session_->enters_missing = dialect_.enters_missing(reply);
      if (!session_->trail) return lost_its_way();
      if (!session_->trail->empty()) break;
      session_->directory = session_->home = now;
      return before.empty() || now == before ? done() : lost_its_way();
    case State::kEnterAgain:
      return now == before ? done() : lost_its_way();
  }
  state_ = State::kEnterAgain;
  return enter(dialect_, *session_->trail);
}

Answer Start::lost(Answer failure, std::string_view words) {
  return explained_start_failure(std::move(failure), words);
}

Step ChangeDirectory::begin() {
  if (name_.empty()) return refusal("no such file or directory", "the directory name is empty");
  if (state_ == State::kLeave) return leave_->begin();
  state_ = State::kEnter;
  return Request{{dialect_.change_directory(name_), "pwd"}};
}

Step ChangeDirectory::take(const Reply& reply) {
  switch (state_) {
    case State::kEnter:
      return judge(reply);
    case State::kConfirm:
      return judge_confirmed(reply);
    case State::kLeave:
      break;
  }
  const Answer left = std::get<Answer>(leave_->take(reply));
  if (left.status != kSuccess) return left;
  return refuse("the server opens " + quoted(name_) + ", but then says: no such file or directory");
}

Step ChangeDirectory::judge(const Reply& reply) {
  now_ = dialect_.working_directory(reply);
  if (!succeeded(dialect_.verdict(Command::Verb::kChangeDirectory, reply))) {
    session_->directory = now_;
    return refuse();
  }
  if (!session_->enters_missing) {
    enter();
    return accept();
  }
  state_ = State::kConfirm;
  return looking(dialect_.look("."));
}

Step ChangeDirectory::judge_confirmed(const Reply& reply) {
  enter();
  if (!dialect_.says_missing(reply)) return accept();
  state_ = State::kLeave;
  return leave_.emplace(dialect_, session_).begin();
}

bool ChangeDirectory::succeeded(Verdict verdict) const {
  if (verdict == Verdict::kSuccess || (!now_.empty() && now_ != session_->directory)) return true;
  std::string_view name = name_;
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  const bool is_current = name == "." || name == now_;
  return verdict == Verdict::kUnclear && is_current;
}

Answer ChangeDirectory::refuse(std::string explanation) {
  session_->footing.entered(false);
  return refusal("no such file or directory", std::move(explanation));
}

Answer ChangeDirectory::accept() {
  session_->footing.entered(true);
  return done();
}

void ChangeDirectory::enter() {
  session_->left = std::exchange(session_->directory, now_);
  if (name_.starts_with('/')) session_->trail.emplace();
  if (session_->trail) session_->trail->push_back(name_);
}

Step LeaveDirectory::begin() {
  if (target_.empty()) return failure("there is no directory to go back to");
  if (came_by_name(*session_) && !dialect_.shows_exactly(target_)) {
    const std::vector<std::string>& trail = *session_->trail;
    Request request = enter(dialect_, {trail.begin(), trail.end() - 1});
    request.lines.insert(request.lines.begin(), "cd");  // to where the session began
    return request;
  }
  const std::string line = dialect_.change_directory(target_);
  if (line.size() > dialect_.longest_line()) return failure("the path to go back to is too long");
  return Request{{line, "pwd"}};
}

// In another directory, names would stand for other files.
Step LeaveDirectory::take(const Reply& reply) {
  if (came_by_name(*session_)) {
    session_->trail->pop_back();
  } else if (dialect_.shows_exactly(target_)) {
    session_->trail = {target_};
  } else {
    session_->trail.reset();
  }
  session_->directory = target_;
  if (dialect_.working_directory(reply) == target_) return done();
  Answer lost = failure("the session cannot get back to " + quoted(target_));
  lost.ends_client = true;
  return lost;
}

Step MakeDirectory::begin() {
  if (name_.empty()) return refusal("failure", "the directory name is empty");
  if (std::exchange(state_, State::kMake) == State::kNew) return make();
  // It may have been made before the session was lost.
  state_ = State::kLook;
  return looking(dialect_.look(listed_as_));
}

Step MakeDirectory::make() {
  state_ = State::kMake;
  return Request{{dialect_.make_directory(name_)}};
}

Step MakeDirectory::take(const Reply& reply) {
  if (state_ == State::kLook) {
    if (dialect_.found(reply, listed_as_).kind == RemoteFile::Kind::kDirectory) return done();
    return make();
  }
  const bool failed = dialect_.verdict(Command::Verb::kMakeDirectory, reply) == Verdict::kFailure;
  return failed ? refusal("failure") : done();
}

}  // namespace fileref::runtime
