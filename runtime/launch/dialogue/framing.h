// Where one answer of the client ends: at a sentinel that nobody else can guess.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

// A harmless line that is sent behind the lines of a request, and what the client writes on its
// standard output for it.
struct Sentinel {
  std::string line;
  std::string mark;
  bool at_line_start = true;  // the mark counts at the start of a line only
};

// 32 hexadecimal digits from the system's random source; empty when that fails.
std::string make_nonce();

// One request on its way: collects the reply until the sentinel is there.
class Exchange {
 public:
  Exchange(Request request, Sentinel sentinel);

  // All bytes to send.
  std::string input() const;

  // Takes what arrived on standard output. True once the sentinel was found; the reply's `out` is
  // then what stands before it.
  bool take_output(std::string_view bytes);
  void take_errors(std::string_view bytes) { reply_.err += bytes; }

  const Request& request() const { return request_; }
  bool complete() const { return complete_; }
  const Reply& reply() const { return reply_; }

 private:
  Request request_;
  Sentinel sentinel_;
  Reply reply_;
  std::size_t searched_ = 0;  // no mark begins before this offset
  bool complete_ = false;
};

}  // namespace fileref::runtime
