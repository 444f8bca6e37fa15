// Turns the module's commands into operations, in the dialect of one client.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"

namespace fileref::runtime {

class Adapter {
 public:
  Adapter(std::unique_ptr<Dialect> dialect, Session session)
      : dialect_(std::move(dialect)), session_(std::move(session)) {}

  const Dialect& dialect() const { return *dialect_; }

  // The operation that waits for the session to be up, and enters the directory in which an earlier
  // one stood.
  std::unique_ptr<Operation> start();

  // The operation for one command line of the module. Returns null and says why when the command
  // must not be sent.
  std::unique_ptr<Operation> plan(std::string_view command, std::string* why);

 private:
  std::unique_ptr<Operation> plan_listing(const Command& command, std::string* why);
  // False, and why, when the command cannot be sent.
  bool prepare(Command* command, std::string* why) const;

  std::unique_ptr<Dialect> dialect_;
  Session session_;
};

}  // namespace fileref::runtime
