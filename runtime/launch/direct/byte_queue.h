// Bytes that wait to be read, first in, first out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <span>
#include <string>
#include <string_view>

namespace fileref::runtime::direct {

class ByteQueue {
 public:
  void add(std::string_view bytes) {
    const std::size_t lent = bytes.copy(loan_.data() + filled_, loan_.size() - filled_);
    filled_ += lent;
    bytes.remove_prefix(lent);
    if (bytes.empty()) return;
    pieces_.emplace_back(bytes);
    size_ += bytes.size();
  }

  // Bytes that are added go into `room` first, behind `filled` bytes of it, and do not wait here.
  void lend(std::span<char> room, std::size_t filled) {
    loan_ = room;
    filled_ = filled;
  }
  // How much of the room is filled.
  std::size_t filled() const { return filled_; }
  void end_loan() { lend({}, 0); }

  // Moves the first bytes out, `capacity` at the most, and returns how many.
  std::size_t take(char* buffer, std::size_t capacity) {
    const std::size_t before = size_;
    for (std::size_t taken = 0; taken < capacity && size_ > 0;) {
      const std::string_view bytes = front().substr(0, capacity - taken);
      std::copy(bytes.begin(), bytes.end(), buffer + taken);
      taken += bytes.size();
      skip(bytes.size());
    }
    return before - size_;
  }

  // The first bytes that lie together; empty when there are none. Valid until the next change.
  std::string_view front() const {
    return pieces_.empty() ? std::string_view() : std::string_view(pieces_.front()).substr(begun_);
  }
  // Drops so many of them.
  void skip(std::size_t count) {
    begun_ += count;
    size_ -= count;
    if (begun_ < pieces_.front().size()) return;
    pieces_.pop_front();
    begun_ = 0;
  }

  void clear() { *this = {}; }
  std::size_t size() const { return size_; }
  bool is_empty() const { return size_ == 0; }

 private:
  std::deque<std::string> pieces_;  // none is empty
  std::size_t begun_ = 0;           // of the first, taken
  std::size_t size_ = 0;
  std::span<char> loan_;
  std::size_t filled_ = 0;  // of the loan
};

}  // namespace fileref::runtime::direct
