#include "runtime/temp/record_reader.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "host/codes.h"
#include "runtime/temp/file_copy.h"
#include "runtime/temp/record_length.h"

namespace fileref::runtime {
namespace {
constexpr std::size_t kBufferSize = 256 * 1024;
constexpr std::size_t kWorthCopying = kBufferSize / 4;
}  // namespace

RecordReader::RecordReader(std::unique_ptr<ByteSource> source, long record_length,
                           std::optional<RemoteText> text)
    : source_(std::move(source)),
      record_length_(static_cast<std::size_t>(record_length)),
      text_(std::move(text)),
      buffer_(kBufferSize),
      begin_(buffer_.data()),
      end_(buffer_.data()) {}

wrcode RecordReader::read_variable(char*& record, long& length) {
  if (!begin_text()) return failure_;
  const char* line_end = find_line_end(0);
  if (line_end == nullptr) return read_variable_slowly(record, length);
  const auto bytes = static_cast<std::size_t>(line_end - begin_);
  if (bytes > record_length_) return too_long();
  return deliver(record, length, bytes, line_end_size(), &RemoteText::decode_line);
}

wrcode RecordReader::read_variable_slowly(char*& record, long& length) {
  if (failure_ != kSuccess) return failure_;
  for (;;) {
    const std::size_t before = available();
    if (before >= record_length_ + line_end_size()) return too_long();
    if (!read_more()) return failure_;
    if (available() == before) return read_last_line(record, length);
    if (find_line_end(before) != nullptr) return read_variable(record, length);
  }
}

wrcode RecordReader::read_last_line(char*& record, long& length) {
  if (available() == 0) return kEndOfFile;
  if (available() > record_length_) return too_long();
  line_is_open_ = true;
  return deliver(record, length, available(), 0, &RemoteText::decode_last_line);
}

wrcode RecordReader::read_fixed(char*& record, long& length) {
  if (!begin_text() || !fill(record_length_)) return failure_;
  if (available() == 0) return kEndOfFile;
  if (available() < record_length_) fill_up();
  return deliver(record, length, record_length_, 0, &RemoteText::decode_record);
}

void RecordReader::fill_up() {
  const std::string blank(text_ ? text_->blank() : " ");
  const std::size_t kept = available();
  std::vector<char> filled(record_length_);
  std::copy(begin_, end_, filled.begin());
  for (std::size_t at = kept; at < filled.size(); ++at) {
    filled[at] = blank[(at - kept) % blank.size()];
  }
  buffer_.swap(filled);
  begin_ = buffer_.data();
  end_ = begin_ + buffer_.size();
}

wrcode RecordReader::read_stream(char*& record, long& length) {
  const std::size_t wanted = length > 0 ? static_cast<std::size_t>(length) : record_length_;
  if (!begin_text() || !fill(wanted)) return failure_;
  if (text_) return read_text_piece(record, length, wanted);
  if (available() == 0) return kEndOfFile;
  return deliver(record, length, std::min(wanted, available()), 0, nullptr);
}

wrcode RecordReader::read_text_piece(char*& record, long& length, std::size_t wanted) {
  made_.clear();
  for (bool at_end = false; made_.empty() && !at_end;) {
    if (!fill(wanted)) return failure_;
    const std::size_t bytes = std::min(wanted, available());
    at_end = bytes == 0;
    const bool good =
        at_end ? text_->decode_end(made_) : text_->decode_piece({begin_, bytes}, made_);
    if (!good) return refuse_text();
    begin_ += bytes;
  }
  if (made_.empty()) return kEndOfFile;
  ++records_;
  return hand_out(made_.data(), made_.size(), record, length);
}

wrcode RecordReader::deliver(char*& record, long& length, std::size_t bytes, std::size_t end,
                             Decode decode) {
  char* start = begin_;
  if (text_) {
    made_.clear();
    if (!((*text_).*decode)({start, bytes}, made_)) return refuse_text();
  }
  begin_ += bytes + end;
  ++records_;
  return text_ ? hand_out(made_.data(), made_.size(), record, length)
               : hand_out(start, bytes, record, length);
}

wrcode RecordReader::hand_out(char* start, std::size_t bytes, char*& record, long& length) {
  record = start;
  length = static_cast<long>(bytes);
  return kSuccess;
}

bool RecordReader::begin_text() {
  if (failure_ != kSuccess) return false;
  if (!text_ || text_begun_) return true;
  if (!fill(RemoteText::kLongestMark)) return false;
  begin_ += text_->begin({begin_, available()});
  return text_begun_ = true;
}

char* RecordReader::find_line_end(std::size_t searched) const {
  const std::size_t left = available() - searched;
  if (!text_) return static_cast<char*>(std::memchr(begin_ + searched, '\n', left));
  const std::size_t at = text_->find_line_end({begin_, available()}, searched);
  return at == std::string_view::npos ? nullptr : begin_ + at;
}

bool RecordReader::can_copy_behind(const char* record) const {
  if (text_ || record < buffer_.data() || record >= begin_) return false;
  return source_->file() < 0 || available() >= kWorthCopying;
}

void RecordReader::copy_lines(const Destination& out) {
  if (source_->file() < 0) return copy_as_it_comes(&lines_within, out);
  go_on_at(runtime::copy_lines(source_->file(), position(), record_length_, out));
}

void RecordReader::copy_stream(const Destination& out) {
  constexpr Select kAll = [](std::string_view bytes, std::size_t) { return bytes; };
  if (source_->file() < 0) return copy_as_it_comes(kAll, out);
  go_on_at(copy_bytes(source_->file(), position(), out));
}

// A failure to read is left to the next read.
void RecordReader::copy_as_it_comes(Select whole, const Destination& out) {
  do {
    const std::string_view bytes = whole({begin_, available()}, record_length_);
    write_all(out, bytes);
    begin_ += bytes.size();
    records_ += count_lines(bytes);
  } while (available() <= record_length_ && read_more() && !source_ended_);
}

void RecordReader::go_on_at(off_t offset) {
  if (offset == position()) return;
  lseek(source_->file(), offset, SEEK_SET);
  begin_ = end_ = buffer_.data();
  read_ = offset;
  source_ended_ = false;
  copied_ = true;
}

wrcode RecordReader::too_long() {
  if (copied_) records_ = count_lines(source_->file(), position());
  why_ = too_long_text(records_ + 1, record_length_);
  return failure_ = kRecordTooLong;
}

wrcode RecordReader::refuse_text() {
  why_ = fmt::format(
      "Record {} cannot be converted: it holds bytes that are no text in the encoding {}, or ends "
      "inside a character. Check ENCODING=, and LRECL= if the records are of fixed length.",
      records_ + 1, text_->encoding());
  return failure_ = kTempFailure;
}

bool RecordReader::fill(std::size_t wanted) {
  while (available() < wanted && !source_ended_) {
    if (!read_more()) return false;
  }
  return true;
}

bool RecordReader::read_more() {
  if (source_ended_) return true;
  const std::size_t kept = available();
  if (kept > buffer_.size() / 2) {
    std::vector<char> larger(buffer_.size() * 2);
    std::copy(begin_, end_, larger.begin());
    buffer_.swap(larger);
  } else if (kept > 0) {
    std::memmove(buffer_.data(), begin_, kept);
  }
  begin_ = buffer_.data();
  end_ = begin_ + kept;
  const long count = source_->read(end_, buffer_.size() - kept);
  if (count < 0) {
    why_ = source_->why();
    failure_ = source_->code();
    return false;
  }
  source_ended_ = count == 0;
  end_ += count;
  read_ += count;
  return true;
}

}  // namespace fileref::runtime
