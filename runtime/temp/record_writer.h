// Records into a temporary file.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/types.h"
#include "runtime/temp/bytes.h"
#include "runtime/temp/remote_text.h"

namespace fileref::runtime {

// Writes records one after the other. Variable: a line feed behind each; one that holds a line end
// is refused. Fixed: filled up with blanks to the record length. Stream: the bytes as they are. A
// record longer than the record length is refused. With a text in an encoding of its own, records
// are converted first and then measured, but for the pieces of a stream.
class RecordWriter {
 public:
  // `record_length` in bytes of the sink, at least 1.
  RecordWriter(std::unique_ptr<ByteSink> sink, long record_length,
               std::optional<RemoteText> text = {});

  // The next line is written without its line feed, and is the last.
  void leave_next_line_open() { next_is_last_ = true; }

  // Each returns 0, or a failure that `why` then tells. A refused record is not written; after any
  // other failure the file is not whole and every later write and `finish` fails too.
  wrcode write_variable(const char* record, long length);
  wrcode write_fixed(const char* record, long length);
  wrcode write_stream(const char* record, long length);
  wrcode finish();

  // Writes the lines at the beginning of `lines` that can be written together, each with a line
  // feed behind it, and returns how many bytes they have. For variable records; after a failure
  // every later write fails, too.
  std::size_t write_lines(std::string_view lines);

  // Whether nothing was written, and records go into the file as they are.
  bool is_plain_and_new() const {
    return records_ == 0 && !text_ && !next_is_last_ && failure_ == 0;
  }

  const std::string& why() const { return why_; }

 private:
  // Makes of a record the bytes that stand for it in the file.
  wrcode encode(std::string_view& record);
  wrcode check_length(std::string_view bytes);
  bool holds_line_end(std::string_view bytes) const;
  // A record that is not written, behind which others can be.
  wrcode refuse(std::string why);
  // Nothing can be written any more.
  wrcode fail(std::string why);
  std::string inexpressible() const;
  wrcode put_record(std::string_view bytes);
  wrcode put(std::string_view bytes);
  wrcode put_through(std::string_view bytes);
  wrcode end_text_stream();
  wrcode flush();

  std::unique_ptr<ByteSink> sink_;
  std::size_t record_length_;
  std::optional<RemoteText> text_;
  std::string encoded_;
  std::string blanks_;
  bool text_stream_is_open_ = false;
  bool next_is_last_ = false;
  bool last_is_written_ = false;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  long records_ = 0;
  wrcode failure_ = 0;
  std::string why_;
};

}  // namespace fileref::runtime
