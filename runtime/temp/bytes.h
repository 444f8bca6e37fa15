// Where the bytes of a temporary file come from and go to.
#pragma once

#include <memory>
#include <string>

#include "runtime/byte_source.h"

namespace fileref::runtime {

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  // False after a failure that `why` then tells; part of the bytes may have been written.
  virtual bool write(const char* bytes, std::size_t length) = 0;
  // Writes what is held back and closes. After a failure it can be called again.
  virtual bool finish() = 0;

  const std::string& why() const { return why_; }

 protected:
  std::string why_;
};

// An existing regular file. Null, with the reason in `why`, when it cannot be opened.
std::unique_ptr<ByteSource> open_file_source(const std::string& path, std::string& why);
// A new file with mode 0600; never an existing one, never through a link.
std::unique_ptr<ByteSink> create_file_sink(const std::string& path, std::string& why);

}  // namespace fileref::runtime
