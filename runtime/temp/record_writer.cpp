#include "runtime/temp/record_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/codes.h"

namespace fileref::runtime {
namespace {
constexpr std::size_t kBufferSize = 256 * 1024;
}

RecordWriter::RecordWriter(std::unique_ptr<ByteSink> sink, long record_length)
    : sink_(std::move(sink)),
      record_length_(static_cast<std::size_t>(record_length)),
      buffer_(kBufferSize) {}

wrcode RecordWriter::write_variable(const char* record, long length) {
  const auto bytes = static_cast<std::size_t>(length);
  if (bytes > record_length_) return refuse_length(length);
  if (bytes > 0 && std::memchr(record, '\n', bytes) != nullptr) {
    why_ = fmt::format(
        "Record {} holds a line feed, which would make two records of it. Write it "
        "with RECFM=S or RECFM=F.",
        records_ + 1);
    return kBadRecord;
  }
  ++records_;
  const wrcode rc = put(record, bytes);
  return rc == kSuccess ? put("\n", 1) : rc;
}

wrcode RecordWriter::write_fixed(const char* record, long length) {
  auto bytes = static_cast<std::size_t>(length);
  if (bytes > record_length_) return refuse_length(length);
  ++records_;
  wrcode rc = put(record, bytes);
  constexpr std::string_view kBlanks = "                                                        ";
  while (rc == kSuccess && bytes < record_length_) {
    const std::size_t piece = std::min(kBlanks.size(), record_length_ - bytes);
    rc = put(kBlanks.data(), piece);
    bytes += piece;
  }
  return rc;
}

wrcode RecordWriter::write_stream(const char* record, long length) {
  const auto bytes = static_cast<std::size_t>(length);
  if (bytes > record_length_) return refuse_length(length);
  ++records_;
  return put(record, bytes);
}

wrcode RecordWriter::refuse_length(long length) {
  why_ = fmt::format("Record {} has {} bytes; the record length is {}. Raise it with LRECL=.",
                     records_ + 1, length, record_length_);
  return kRecordTooLong;
}

wrcode RecordWriter::put(const char* bytes, std::size_t length) {
  if (failure_ != kSuccess) return failure_;
  while (length > 0) {
    if (used_ == buffer_.size()) {
      const wrcode rc = flush();
      if (rc != kSuccess) return rc;
    }
    const std::size_t piece = std::min(length, buffer_.size() - used_);
    std::memcpy(buffer_.data() + used_, bytes, piece);
    used_ += piece;
    bytes += piece;
    length -= piece;
  }
  return kSuccess;
}

wrcode RecordWriter::flush() {
  if (failure_ != kSuccess) return failure_;
  if (used_ > 0 && !sink_->write(buffer_.data(), used_)) {
    why_ = sink_->why();
    return failure_ = kTempFailure;
  }
  used_ = 0;
  return kSuccess;
}

wrcode RecordWriter::finish() {
  const wrcode rc = flush();
  if (rc != kSuccess) return rc;
  if (sink_->finish()) return kSuccess;
  why_ = sink_->why();
  return failure_ = kTempFailure;
}

}  // namespace fileref::runtime
