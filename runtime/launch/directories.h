// The start of a session, and the commands that enter, leave and make remote directories.
#pragma once

#include <string>

#include "runtime/launch/dialect.h"
#include "runtime/launch/operation.h"

namespace fileref::runtime {

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

class ChangeDirectory : public Operation {
 public:
  ChangeDirectory(const Dialect& dialect, Session* session, std::string name)
      : dialect_(dialect), session_(session), name_(std::move(name)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  bool succeeded(Verdict verdict, const std::string& before) const;

  const Dialect& dialect_;
  Session* session_;
  std::string name_;
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

class MakeDirectory : public Operation {
 public:
  MakeDirectory(const Dialect& dialect, std::string name)
      : dialect_(dialect), name_(std::move(name)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  enum class State { kNew, kMake, kLook };

  Step make();

  const Dialect& dialect_;
  std::string name_;
  State state_ = State::kNew;
};

}  // namespace fileref::runtime
