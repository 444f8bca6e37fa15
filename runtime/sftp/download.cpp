#include "runtime/sftp/download.h"

#include <algorithm>
#include <utility>

#include "runtime/sftp/requests.h"

namespace fileref::sftp {
namespace {

constexpr unsigned kBlocksAtFirst = 8;
// Before anything is known of a file's size: most are small.
constexpr unsigned kBlocksUnknown = 2;

std::string of_bytes(std::uint64_t count, std::uint64_t all) {
  return std::to_string(count) + " of " + std::to_string(all) + " bytes arrived";
}

}  // namespace

Download::Download(Connection& connection, std::string_view path, Options options, BytesTaker taker)
    : Asker(connection),
      taker_(std::move(taker)),
      options_(options),
      position_(options.from),
      next_(options.from),
      window_(std::uint64_t{kBlocksAtFirst} * connection.server().read_length) {
  open_file(*this, path, OpenFor::kReading, {},
            [this](const Status& status, std::string_view handle) { opened(status, handle); });
}

Download::~Download() {
  if (!handle_.empty()) close_unwatched(connection(), handle_);
}

void Download::opened(const Status& status, std::string_view handle) {
  if (!status.is_ok()) {
    refused_ = true;
    return end(status.text());
  }
  state_ = State::kReading;
  handle_ = handle;
  ask_handle_attributes(*this, handle_, [this](const Status& said, const Attributes& attributes) {
    take_attributes(said, attributes);
  });
  // What goes on is looked at first.
  if (options_.from == 0) ask_ahead();
}

void Download::take_attributes(const Status& status, const Attributes& attributes) {
  knows_attributes_ = true;
  if (status.is_ok()) attributes_ = attributes;
  const Kind kind = attributes.kind();
  if (kind != Kind::kUnknown && kind != Kind::kFile) {
    refused_ = position_ == options_.from;
    return end("not a regular file");
  }
  ask_ahead();
  look_for_the_end();
}

// Nothing, or 0 from servers that do not know it, stands for a file that is read to its end.
std::uint64_t Download::size() const {
  return (attributes_ ? attributes_->size : options_.expected_size).value_or(0);
}

// Few requests until it is known that they bring something.
std::uint64_t Download::allowed_ahead() const {
  const std::uint64_t block = connection().server().read_length;
  if (size() == 0 && position_ == options_.from) return kBlocksUnknown * block;
  return std::min(window_, connection().settings().most_ahead);
}

void Download::allow_up_to(std::uint64_t offset) {
  limit_ = offset;
  ask_ahead();
}

// Up to the size, and one request behind it that finds the end, or that the file has grown.
void Download::ask_ahead() {
  while (state_ == State::kReading && !end_ && next_ < limit_ &&
         next_ - position_ < allowed_ahead()) {
    if (position_ <= size() && next_ > size() && size() != 0) return;
    if (next_ >= size()) look_again();
    const std::uint64_t block = connection().server().read_length;
    const std::uint64_t length = next_ < size() ? std::min(block, size() - next_) : block;
    ask(next_, static_cast<std::uint32_t>(length));
    next_ += length;
  }
}

// A file that took one flight had no time to change.
void Download::look_again() {
  const bool takes_several = position_ > options_.from && attributes_ && attributes_->size;
  if (has_looked_again_ || !takes_several || size() == 0) return;
  has_looked_again_ = looks_again_ = true;
  ask_handle_attributes(*this, handle_, [this](const Status& status, const Attributes& now) {
    looks_again_ = false;
    changed_ = change(status, now);
    look_for_the_end();
  });
}

// Empty when it is as it was, as far as the server tells, or has grown.
std::string Download::change(const Status& status, const Attributes& now) const {
  if (!status.is_ok() || !now.size || *now.size > size()) return {};
  const bool is_same =
      *now.size == size() && now.modification_time == attributes_->modification_time;
  return is_same ? "" : "the file was changed while it was read";
}

void Download::ask(std::uint64_t offset, std::uint32_t length) {
  connection()
      .ask(Type::kRead, this, [this, offset, length](Reply& reply) { take(offset, length, reply); })
      .text(handle_)
      .number64(offset)
      .number32(length);
}

void Download::take(std::uint64_t offset, std::uint32_t asked, Reply& reply) {
  if (state_ == State::kEnded) return;
  if (reply.status.code == kEndOfFile) {
    end_ = std::min(offset, end_.value_or(offset));
  } else if (!reply.status.is_ok()) {
    return end("at byte " + std::to_string(offset) + " the server says: " + reply.status.text());
  } else {
    const std::string_view data = reply.body.text();
    if (!reply.body.is_whole() || data.empty() || data.size() > asked) {
      return connection().break_off("the server answers a READ of " + std::to_string(asked) +
                                    " bytes with " + std::to_string(data.size()));
    }
    take_data(offset, asked, data);
  }
  look_for_the_end();
}

void Download::take_data(std::uint64_t offset, std::uint32_t asked, std::string_view data) {
  const auto length = static_cast<std::uint32_t>(data.size());
  window_ += length;
  if (length < asked) ask(offset + length, asked - length);
  deliver(offset, data);
  ask_ahead();
}

void Download::deliver(std::uint64_t offset, std::string_view data) {
  if (offset != position_) {
    too_early_.emplace(offset, data);
    return;
  }
  if (!hand_on(data)) return;
  while (!too_early_.empty() && too_early_.begin()->first == position_) {
    if (!hand_on(too_early_.begin()->second)) return;
    too_early_.erase(too_early_.begin());
  }
}

// What a file has grown by is left out.
bool Download::hand_on(std::string_view data) {
  const std::uint64_t size = attributes_ ? attributes_->size.value_or(0) : 0;
  if (size > 0 && position_ <= size && data.size() > size - position_) {
    data = data.substr(0, size - position_);
    end_ = size;
  }
  position_ += data.size();
  if (data.empty() || taker_(data)) return true;
  end("the data cannot be put away");
  return false;
}

void Download::look_for_the_end() {
  if (state_ != State::kReading || !knows_attributes_ || end_ != position_ || looks_again_) return;
  const std::uint64_t size = attributes_ ? attributes_->size.value_or(0) : 0;
  end(position_ < size ? of_bytes(position_, size) : changed_);
}

void Download::end(std::string failure) {
  state_ = State::kEnded;
  failure_ = std::move(failure);
  too_early_.clear();
}

}  // namespace fileref::sftp
