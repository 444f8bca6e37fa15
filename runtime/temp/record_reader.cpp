#include "runtime/temp/record_reader.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "host/codes.h"
#include "runtime/temp/file_copy.h"

namespace fileref::runtime {
namespace {
constexpr std::size_t kBufferSize = 256 * 1024;
constexpr std::size_t kWorthCopying = kBufferSize / 4;
}  // namespace

RecordReader::RecordReader(std::unique_ptr<ByteSource> source, long record_length)
    : source_(std::move(source)),
      record_length_(static_cast<std::size_t>(record_length)),
      buffer_(kBufferSize),
      begin_(buffer_.data()),
      end_(buffer_.data()) {}

wrcode RecordReader::read_variable(char*& record, long& length) {
  auto* feed = static_cast<char*>(std::memchr(begin_, '\n', available()));
  if (feed == nullptr) return read_variable_slowly(record, length);
  const auto bytes = static_cast<std::size_t>(feed - begin_);
  if (bytes > record_length_) return too_long();
  record = begin_;
  length = static_cast<long>(bytes);
  begin_ = feed + 1;
  ++records_;
  return kSuccess;
}

wrcode RecordReader::read_variable_slowly(char*& record, long& length) {
  if (failure_ != kSuccess) return failure_;
  for (std::size_t searched = 0;;) {
    const std::size_t before = available();
    if (before > record_length_) return too_long();
    if (!read_more()) return failure_;
    if (available() == before) break;
    searched = before;
    if (std::memchr(begin_ + searched, '\n', available() - searched) != nullptr) {
      return read_variable(record, length);
    }
  }
  return available() == 0 ? kEndOfFile : deliver(record, length, available());
}

wrcode RecordReader::read_fixed(char*& record, long& length) {
  if (failure_ != kSuccess || !fill(record_length_)) return failure_;
  if (available() == 0) return kEndOfFile;
  if (available() < record_length_) {
    const std::size_t missing = record_length_ - available();
    std::fill_n(end_, missing, ' ');
    end_ += missing;
  }
  return deliver(record, length, record_length_);
}

wrcode RecordReader::read_stream(char*& record, long& length) {
  const std::size_t wanted = length > 0 ? static_cast<std::size_t>(length) : record_length_;
  if (failure_ != kSuccess || !fill(wanted)) return failure_;
  if (available() == 0) return kEndOfFile;
  return deliver(record, length, std::min(wanted, available()));
}

wrcode RecordReader::deliver(char*& record, long& length, std::size_t bytes) {
  record = begin_;
  length = static_cast<long>(bytes);
  begin_ += bytes;
  ++records_;
  return kSuccess;
}

bool RecordReader::can_copy_behind(const char* record) const {
  return buffer_.data() <= record && record < begin_ && available() >= kWorthCopying &&
         source_->file() >= 0;
}

void RecordReader::copy_lines(const Destination& out) {
  go_on_at(runtime::copy_lines(source_->file(), position(), record_length_, out));
}

void RecordReader::copy_stream(const Destination& out) {
  go_on_at(copy_bytes(source_->file(), position(), out));
}

off_t RecordReader::position() const {
  return lseek(source_->file(), 0, SEEK_CUR) - static_cast<off_t>(available());
}

void RecordReader::go_on_at(off_t offset) {
  if (offset == position()) return;
  lseek(source_->file(), offset, SEEK_SET);
  begin_ = end_ = buffer_.data();
  source_ended_ = false;
  copied_ = true;
}

wrcode RecordReader::too_long() {
  if (copied_) records_ = count_lines(source_->file(), position());
  why_ =
      fmt::format("Record {} is longer than the record length of {} bytes. Raise it with LRECL=.",
                  records_ + 1, record_length_);
  return failure_ = kRecordTooLong;
}

bool RecordReader::fill(std::size_t wanted) {
  while (available() < wanted && !source_ended_) {
    if (!read_more()) return false;
  }
  // A last fixed record is filled up in place, so there must be room for all of it.
  if (static_cast<std::size_t>(buffer_.data() + buffer_.size() - begin_) < wanted) {
    const std::size_t kept = available();
    std::vector<char> larger(wanted);
    std::copy(begin_, end_, larger.begin());
    buffer_.swap(larger);
    begin_ = buffer_.data();
    end_ = begin_ + kept;
  }
  return true;
}

bool RecordReader::read_more() {
  if (source_ended_) return true;
  const std::size_t kept = available();
  if (kept > buffer_.size() / 2) {
    std::vector<char> larger(buffer_.size() * 2);
    std::memcpy(larger.data(), begin_, kept);
    buffer_.swap(larger);
  } else if (kept > 0) {
    std::memmove(buffer_.data(), begin_, kept);
  }
  begin_ = buffer_.data();
  end_ = begin_ + kept;
  const long count = source_->read(end_, buffer_.size() - kept);
  if (count < 0) {
    why_ = source_->why();
    failure_ = kTempFailure;
    return false;
  }
  source_ended_ = count == 0;
  end_ += count;
  return true;
}

}  // namespace fileref::runtime
