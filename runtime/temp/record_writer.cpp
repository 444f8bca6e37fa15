#include "runtime/temp/record_writer.h"

#include <fmt/format.h>

#include <utility>

#include "host/codes.h"
#include "runtime/temp/file_copy.h"
#include "runtime/temp/record_length.h"

namespace fileref::runtime {
namespace {
constexpr std::size_t kBufferSize = 256 * 1024;
constexpr std::size_t kBlanksAtOnce = 64;  // bytes
}  // namespace

RecordWriter::RecordWriter(std::unique_ptr<ByteSink> sink, long record_length,
                           std::optional<RemoteText> text)
    : sink_(std::move(sink)),
      record_length_(static_cast<std::size_t>(record_length)),
      text_(std::move(text)),
      buffer_(kBufferSize) {
  const std::string_view blank = text_ ? text_->blank() : " ";
  while (blanks_.size() < kBlanksAtOnce) blanks_ += blank;
}

wrcode RecordWriter::write_variable(const char* record, long length) {
  const bool is_last = std::exchange(next_is_last_, false);
  std::string_view bytes(record, static_cast<std::size_t>(length));
  wrcode rc = encode(bytes);
  if (rc == kSuccess) rc = check_length(bytes);
  if (rc != kSuccess) return rc;
  if (holds_line_end(bytes)) {
    return refuse(fmt::format(
        "Record {} holds a line feed, which would make two records of it. Write it with RECFM=S or "
        "RECFM=F.",
        records_ + 1));
  }
  if (last_is_written_) {
    return refuse("No record can follow one that was written without its line feed.");
  }
  last_is_written_ = is_last;
  rc = put_record(bytes);
  if (rc != kSuccess || is_last) return rc;
  return put(text_ ? text_->line_feed() : "\n");
}

wrcode RecordWriter::write_fixed(const char* record, long length) {
  std::string_view bytes(record, static_cast<std::size_t>(length));
  wrcode rc = encode(bytes);
  if (rc == kSuccess) rc = check_length(bytes);
  if (rc != kSuccess) return rc;
  rc = put_record(bytes);
  for (std::size_t missing = record_length_ - bytes.size(); rc == kSuccess && missing > 0;) {
    const std::string_view piece = std::string_view(blanks_).substr(0, missing);
    rc = put(piece);
    missing -= piece.size();
  }
  return rc;
}

wrcode RecordWriter::write_stream(const char* record, long length) {
  const std::string_view bytes(record, static_cast<std::size_t>(length));
  const wrcode rc = check_length(bytes);
  if (rc != kSuccess) return rc;
  if (!text_) return put_record(bytes);
  text_stream_is_open_ = true;
  encoded_.clear();
  if (!text_->encode_piece(bytes, encoded_)) return fail(inexpressible());
  ++records_;
  return put(encoded_);
}

std::size_t RecordWriter::write_lines(std::string_view lines) {
  if (text_ || next_is_last_ || last_is_written_) return 0;
  lines = lines_within(lines, record_length_);
  if (put(lines) != kSuccess) return 0;
  records_ += count_lines(lines);
  return lines.size();
}

wrcode RecordWriter::encode(std::string_view& record) {
  if (!text_) return kSuccess;
  encoded_.clear();
  if (!text_->encode_record(record, encoded_)) return refuse(inexpressible());
  record = encoded_;
  return kSuccess;
}

std::string RecordWriter::inexpressible() const {
  return fmt::format(
      "Record {} holds text that the encoding {} cannot express, or ends inside a character. Check "
      "ENCODING=.",
      records_ + 1, text_->encoding());
}

bool RecordWriter::holds_line_end(std::string_view bytes) const {
  return (text_ ? text_->find_line_end(bytes) : bytes.find('\n')) != std::string_view::npos;
}

wrcode RecordWriter::check_length(std::string_view bytes) {
  if (bytes.size() <= record_length_) return kSuccess;
  why_ = too_long_text(records_ + 1, record_length_);
  return kRecordTooLong;
}

wrcode RecordWriter::refuse(std::string why) {
  why_ = std::move(why);
  return kBadRecord;
}

wrcode RecordWriter::fail(std::string why) {
  why_ = std::move(why);
  return failure_ = kTempFailure;
}

wrcode RecordWriter::put_record(std::string_view bytes) {
  const bool is_first = records_++ == 0;
  const wrcode rc = is_first && text_ ? put(text_->header()) : kSuccess;
  return rc == kSuccess ? put(bytes) : rc;
}

wrcode RecordWriter::put(std::string_view bytes) {
  if (failure_ != kSuccess) return failure_;
  if (bytes.size() >= buffer_.size()) return put_through(bytes);
  while (!bytes.empty()) {
    if (used_ == buffer_.size()) {
      const wrcode rc = flush();
      if (rc != kSuccess) return rc;
    }
    const std::size_t piece = bytes.copy(buffer_.data() + used_, buffer_.size() - used_);
    used_ += piece;
    bytes.remove_prefix(piece);
  }
  return kSuccess;
}

wrcode RecordWriter::put_through(std::string_view bytes) {
  const wrcode rc = flush();
  if (rc != kSuccess) return rc;
  return sink_->write(bytes.data(), bytes.size()) ? kSuccess : fail(sink_->why());
}

wrcode RecordWriter::flush() {
  if (failure_ != kSuccess) return failure_;
  if (used_ > 0 && !sink_->write(buffer_.data(), used_)) return fail(sink_->why());
  used_ = 0;
  return kSuccess;
}

wrcode RecordWriter::end_text_stream() {
  if (!std::exchange(text_stream_is_open_, false)) return kSuccess;
  encoded_.clear();
  return text_->encode_end(encoded_) ? put(encoded_) : fail(inexpressible());
}

wrcode RecordWriter::finish() {
  wrcode rc = end_text_stream();
  if (rc == kSuccess) rc = flush();
  if (rc != kSuccess) return rc;
  return sink_->finish() ? kSuccess : fail(sink_->why());
}

}  // namespace fileref::runtime
