// The start of a session, and the commands that enter, leave and make remote directories.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

// The path by which the client's `ls` is asked for `path`, which is empty for the current
// directory. Returns nothing and says why when there is none.
std::optional<std::string> listed_path(const Dialect& dialect, const Session& session,
                                       std::string_view path, std::string* why);

// The same for the current directory.
std::string path_of_here(const Dialect& dialect, const Session& session);

class Start : public Operation {
 public:
  Start(const Dialect& dialect, Session* session) : dialect_(dialect), session_(session) {}
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kLogin, kAskDirectory, kEnterAgain };

  const Dialect& dialect_;
  Session* session_;
  State state_ = State::kLogin;
};

// Goes back to the directory that the last change of directory left, which is not the one above
// when that went through a link.
class LeaveDirectory : public Operation {
 public:
  LeaveDirectory(const Dialect& dialect, Session* session)
      : dialect_(dialect), session_(session), target_(session->left) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  const Dialect& dialect_;
  Session* session_;
  std::string target_;
};

class ChangeDirectory : public Operation {
 public:
  ChangeDirectory(const Dialect& dialect, Session* session, std::string name)
      : dialect_(dialect), session_(session), name_(std::move(name)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  enum class State { kEnter, kConfirm, kLeave };

  Step judge(const Reply& reply);
  Step judge_confirmed(const Reply& reply);
  bool succeeded(Verdict verdict) const;
  void enter();
  Answer accept();
  Answer refuse(std::string explanation = {});

  const Dialect& dialect_;
  Session* session_;
  std::string name_;
  State state_ = State::kEnter;
  std::string now_;                      // where the client says that it is
  std::optional<LeaveDirectory> leave_;  // a directory that is not there
};

class MakeDirectory : public Operation {
 public:
  MakeDirectory(const Dialect& dialect, const Command& command)
      : dialect_(dialect), name_(command.remote), listed_as_(command.listed_as) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  enum class State { kNew, kMake, kLook };

  Step make();

  const Dialect& dialect_;
  std::string name_, listed_as_;
  State state_ = State::kNew;
};

}  // namespace fileref::runtime
