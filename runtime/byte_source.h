// Where the bytes of a file come from that is read record by record.
#pragma once

#include <cstddef>
#include <string>

#include "host/codes.h"

namespace fileref::runtime {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Reads at most `capacity` bytes, and waits for the first of them. 0 at the end, -1 after a
  // failure that `why` and `code` then tell.
  virtual long read(char* buffer, std::size_t capacity) = 0;
  // Whether `read` would have to wait.
  virtual bool waits() const { return false; }
  // The file whose bytes these are, standing behind those that were read; -1 when there is none.
  virtual int file() const { return -1; }

  const std::string& why() const { return why_; }
  wrcode code() const { return code_; }

 protected:
  std::string why_;
  wrcode code_ = kTempFailure;
};

}  // namespace fileref::runtime
