// What has to be known of one client program in order to hold a dialogue with it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/framing.h"
#include "runtime/launch/operation.h"

namespace fileref::runtime {

class Adapter {
 public:
  virtual ~Adapter() = default;

  // Makes the sentinel that ends the reply to one exchange.
  virtual Sentinel sentinel(const std::string& nonce) const = 0;

  // The operation that waits for the session to be up.
  virtual std::unique_ptr<Operation> start() = 0;

  // The operation for one command line of the module. Returns null and says why when the command
  // must not be sent.
  virtual std::unique_ptr<Operation> plan(std::string_view command, std::string* why) = 0;

  // The line with which the client repeats `line`, if it does.
  virtual std::string echo(std::string_view line) const = 0;
};

}  // namespace fileref::runtime
