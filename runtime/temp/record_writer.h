// Records into a temporary file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/types.h"
#include "runtime/temp/bytes.h"

namespace fileref::runtime {

// Writes records one after the other. Variable: a line feed behind each; one that holds a line
// feed is refused. Fixed: filled up with blanks to the record length. Stream: the bytes as they
// are. A record longer than the record length is refused, for a stream too when it has one.
class RecordWriter {
 public:
  // `record_length` in bytes, at least 1.
  RecordWriter(std::unique_ptr<ByteSink> sink, long record_length);

  // Each returns 0, or a failure that `why` then tells. A refused record is not written; after any
  // other failure the file is not whole and every later write and `finish` fails too.
  wrcode write_variable(const char* record, long length);
  wrcode write_fixed(const char* record, long length);
  wrcode write_stream(const char* record, long length);
  wrcode finish();

  const std::string& why() const { return why_; }

 private:
  wrcode refuse_length(long length);
  wrcode put(const char* bytes, std::size_t length);
  wrcode flush();

  std::unique_ptr<ByteSink> sink_;
  std::size_t record_length_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  long records_ = 0;
  wrcode failure_ = 0;
  std::string why_;
};

}  // namespace fileref::runtime
