#include "runtime/launch/directories.h"

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

// Whether the current directory was entered from the one to go back to.
bool came_by_name(const Session& session) {
  const std::optional<std::vector<std::string>>& trail = session.trail;
  return trail && !trail->empty() && !trail->back().starts_with('/');
}

}  // namespace

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
      return Request{{"pwd"}};
    case State::kAskDirectory:
      if (!session_->trail) return lost_its_way();
      if (!session_->trail->empty()) break;
      session_->directory = now;
      return before.empty() || now == before ? done() : lost_its_way();
    case State::kEnterAgain:
      return now == before ? done() : lost_its_way();
  }
  state_ = State::kEnterAgain;
  return enter(dialect_, *session_->trail);
}

Answer Start::lost(Answer failure, std::string_view words) {
  if (failure.status != kEndOfOutput) return failure;
  const std::string cause = explain_start_failure(words);
  if (!cause.empty()) failure.explanation = cause;
  if (says_host_is_unknown(words)) {
    return {kSuccess, "host does not exist\n", std::move(failure.explanation), true};
  }
  return failure;
}

Step ChangeDirectory::begin() {
  if (name_.empty()) return refusal("no such file or directory", "the directory name is empty");
  return Request{{dialect_.change_directory(name_), "pwd"}};
}

Step ChangeDirectory::take(const Reply& reply) {
  const std::string before = std::exchange(session_->directory, dialect_.working_directory(reply));
  if (!succeeded(dialect_.verdict(Command::Verb::kChangeDirectory, reply), before)) {
    return refusal("no such file or directory");
  }
  session_->left = before;
  if (name_.starts_with('/')) session_->trail.emplace();
  if (session_->trail) session_->trail->push_back(name_);
  return done();
}

bool ChangeDirectory::succeeded(Verdict verdict, const std::string& before) const {
  const std::string& now = session_->directory;
  if (verdict == Verdict::kSuccess || (!now.empty() && now != before)) return true;
  std::string_view name = name_;
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  const bool is_current = name == "." || name == now;
  return verdict == Verdict::kUnclear && is_current;
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
  return looking(dialect_.look(name_));
}

Step MakeDirectory::make() {
  state_ = State::kMake;
  return Request{{dialect_.make_directory(name_)}};
}

Step MakeDirectory::take(const Reply& reply) {
  if (state_ == State::kLook) {
    if (dialect_.found(reply, name_).kind == RemoteFile::Kind::kDirectory) return done();
    return make();
  }
  const bool failed = dialect_.verdict(Command::Verb::kMakeDirectory, reply) == Verdict::kFailure;
  return failed ? refusal("failure") : done();
}

}  // namespace fileref::runtime
