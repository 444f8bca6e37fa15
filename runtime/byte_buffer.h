// Bytes that lie together and wait to be looked at, with room behind them for those that come.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace fileref::runtime {

class ByteBuffer {
 public:
  std::string_view bytes() const { return {memory_.get() + begin_, end_ - begin_}; }

  // Room for at least so many bytes more. Valid, like `bytes`, until the next call.
  std::span<char> room(std::size_t least) {
    if (capacity_ - end_ < least) make_room(least);
    return {memory_.get() + end_, capacity_ - end_};
  }
  // So many were put there.
  void add(std::size_t count) { end_ += count; }
  void append(std::string_view bytes) {
    bytes.copy(room(bytes.size()).data(), bytes.size());
    add(bytes.size());
  }

  // The first bytes are of no use any more.
  void drop(std::size_t count) {
    begin_ += count;
    if (begin_ == end_) begin_ = end_ = 0;
  }

 private:
  // What is kept is moved once it is the smaller part, so that nothing is moved often.
  void make_room(std::size_t least) {
    const std::size_t kept = end_ - begin_, needed = kept + least;
    if (needed > capacity_ || kept > begin_) {
      const std::size_t capacity = std::max(needed, 2 * capacity_);
      std::unique_ptr<char[]> larger = std::make_unique_for_overwrite<char[]>(capacity);
      bytes().copy(larger.get(), kept);
      memory_ = std::move(larger);
      capacity_ = capacity;
    } else {
      std::copy(memory_.get() + begin_, memory_.get() + end_, memory_.get());
    }
    begin_ = 0;
    end_ = kept;
  }

  std::unique_ptr<char[]> memory_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0, end_ = 0;
};

}  // namespace fileref::runtime
