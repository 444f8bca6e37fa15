// Records out of a temporary file.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/types.h"
#include "runtime/temp/bytes.h"
#include "runtime/temp/file_copy.h"
#include "runtime/temp/remote_text.h"

namespace fileref::runtime {

// Reads records one after the other. Variable: a line, without its line feed (a carriage return
// before it is data). Fixed: exactly the record length, the last one filled up with blanks.
// Stream: as many bytes as asked for, fewer only at the end. With a text in an encoding of its own,
// records are cut out of the remote bytes and then converted, which may make them longer. A record
// is a pointer into the reader's buffers, valid until the next read.
class RecordReader {
 public:
  // `record_length` in bytes of the source, at least 1.
  RecordReader(std::unique_ptr<ByteSource> source, long record_length,
               std::optional<RemoteText> text = {});

  // Each returns 0 with a record, kEndOfFile, or a failure that `why` then tells and every later
  // read repeats.
  wrcode read_variable(char*& record, long& length);
  wrcode read_fixed(char*& record, long& length);
  // `length` is what is wanted: 1 to the record length, or 0 for the record length itself. A piece
  // that ends inside a character is completed by the next.
  wrcode read_stream(char*& record, long& length);

  // Whether the record that was read last is a line whose line feed is missing.
  bool line_is_open() const { return line_is_open_; }

  // Nothing is there yet of the next record.
  bool waits() const { return available() == 0 && source_->waits(); }

  // Whether a record that was read last, of whichever reader, is this one's, and what stands behind
  // it is better copied than read: of a file when it is much, of other bytes always.
  bool can_copy_behind(const char* record) const;
  // Copies to `out` what follows, as it comes and as far as it consists of lines that can be read,
  // each with its line feed, or of a stream's bytes. The next read goes on behind it. Throws
  // std::system_error when `out` cannot be written.
  void copy_lines(const Destination& out);
  void copy_stream(const Destination& out);

  const std::string& why() const { return why_; }

 private:
  wrcode read_variable_slowly(char*& record, long& length);
  wrcode read_last_line(char*& record, long& length);
  wrcode read_text_piece(char*& record, long& length, std::size_t wanted);
  // Fills the last fixed record up with blanks.
  void fill_up();
  // Hands out the first `bytes` that are available, and skips `end` bytes behind them. A text's are
  // what `decode` makes of them.
  using Decode = bool (RemoteText::*)(std::string_view bytes, std::string& record);
  wrcode deliver(char*& record, long& length, std::size_t bytes, std::size_t end, Decode decode);
  static wrcode hand_out(char* start, std::size_t bytes, char*& record, long& length);
  // Writes what `whole` selects of the bytes at hand, until it selects none although there are
  // many.
  using Select = std::string_view (*)(std::string_view bytes, std::size_t record_length);
  void copy_as_it_comes(Select whole, const Destination& out);
  wrcode too_long();
  wrcode refuse_text();
  // Goes behind what marks a text's byte order. False after a failure.
  bool begin_text();
  // Null when there is none; the first `searched` bytes hold none.
  char* find_line_end(std::size_t searched) const;
  std::size_t line_end_size() const { return text_ ? text_->line_feed().size() : 1; }
  // In the source, of what is not delivered yet.
  off_t position() const { return read_ - static_cast<off_t>(available()); }
  void go_on_at(off_t offset);
  // Makes at least `wanted` bytes available unless the source ends first; fewer are then there.
  bool fill(std::size_t wanted);
  bool read_more();
  std::size_t available() const { return static_cast<std::size_t>(end_ - begin_); }

  std::unique_ptr<ByteSource> source_;
  std::size_t record_length_;
  std::optional<RemoteText> text_;
  bool text_begun_ = false;
  std::vector<char> buffer_;
  char* begin_;  // of what is not delivered yet
  char* end_;
  off_t read_ = 0;  // bytes of the source
  bool source_ended_ = false;
  std::string made_;  // a converted record
  bool line_is_open_ = false;
  long records_ = 0;
  bool copied_ = false;  // records that `records_` does not count
  wrcode failure_ = 0;
  std::string why_;
};

}  // namespace fileref::runtime
