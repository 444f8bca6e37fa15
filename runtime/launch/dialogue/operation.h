// One command of the module as a series of exchanges with the client: pure, no process in sight.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/codes.h"
#include "host/toolkit.h"
#include "runtime/launch/delivery.h"

namespace fileref::runtime {

// The file whose contents a request moves.
struct Transfer {
  bool is_upload = false;
  std::string remote = {}, local = {};
  std::optional<std::uint64_t> total = {};  // in bytes; nothing: not known
  std::size_t number = 1, files = 1;        // which file of how many, where that is known
};

// Lines for the client, without line feeds. They are answered together by one Reply.
struct Request {
  std::vector<std::string> lines;
  bool look = false;  // only looks at what is there: a complaint explains no failure
  std::optional<Transfer> moves = {};  // file contents, so it may take as long as it takes
};

inline Request looking(std::string line) {
  return {{std::move(line)}, true};
}

// What the client wrote on its two output streams in answer to a Request.
struct Reply {
  std::string out;
  std::string err;
};

// How a command ended: the text that the module reads, or the code with which its read fails.
struct Answer {
  TKStatus status = kSuccess;
  std::string text = {};
  std::string explanation = {};  // for the user, when we know more than the client said
  bool refused = false;          // the text tells the module of a failure
  bool ends_client = false;      // the session is in no state to go on
  Delivery::Source more = {};    // what comes behind the text, made when it is read
};

using Step = std::variant<Request, Answer>;

class Operation {
 public:
  virtual ~Operation() = default;

  virtual Step begin() = 0;
  virtual Step take(const Reply& reply) = 0;

  // The client ended, or is being ended because a limit was exceeded: no reply will come.
  // `failure` says which; `words` is what the client last said. Returns the answer to give.
  virtual Answer lost(Answer failure, std::string_view words) {
    static_cast<void>(words);
    return failure;
  }
};

}  // namespace fileref::runtime
