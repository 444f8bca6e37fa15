// One command of the module as requests to the server.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/child/child.h"
#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/direct/session.h"
#include "runtime/sftp/connection.h"

namespace fileref::runtime::direct {

class Operation {
 public:
  virtual ~Operation() = default;

  // Asks for what it needs. It is called again on a new connection when the session was lost under
  // way; `drop` comes before that.
  virtual void begin(sftp::Connection& connection) = 0;
  // Forgets all that is under way on a connection that is going away.
  virtual void drop() = 0;
  // Is called whenever something arrived: the answer, once it is known.
  virtual std::optional<Answer> answer() = 0;
  // It is given up while the connection still stands: asks the server to take back what must not
  // stay there, and waits for nothing else. False when there is nothing.
  virtual bool withdraw() { return false; }
  // No answer can come any more: puts local files in order and completes the failure.
  virtual Answer lost(Answer failure, std::string_view words) {
    static_cast<void>(words);
    return failure;
  }
  // The file whose contents it moves, and how many bytes of it were moved so far.
  virtual const Transfer* transfer() const { return nullptr; }
  virtual std::uint64_t moved() const { return 0; }
  // With its answer the transfer is over.
  virtual bool ends_transfer() const { return true; }
  // Goes on with a transfer that began earlier, which has taken so long already.
  virtual std::optional<Clock::duration> taken_before() const { return std::nullopt; }
};

}  // namespace fileref::runtime::direct
