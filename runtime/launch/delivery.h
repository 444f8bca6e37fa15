// Text on its way to a reader that takes it in pieces.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace fileref::runtime {

class Delivery {
 public:
  // Appends the next piece of the text. False: nothing comes behind it.
  using Source = std::function<bool(std::string* text)>;

  void append(std::string_view text, Source more = {}) {
    while (more_) make_more();
    text_ += text;
    more_ = std::move(more);
  }
  void clear() {
    text_.clear();
    taken_ = 0;
    more_ = {};
  }
  bool is_empty() const { return ready() == 0 && !more_; }
  // Bytes that need not be made first.
  std::size_t ready() const { return text_.size() - taken_; }

  // Copies at most `capacity` bytes out and returns how many: up to the end of the last line that
  // fits whole, if there is one.
  std::size_t take(char* buffer, std::size_t capacity) {
    while (more_ && ready() < capacity) make_more();
    const std::string_view rest = std::string_view(text_).substr(taken_);
    std::size_t n = std::min(rest.size(), capacity);
    if (n > 0 && (n < rest.size() || more_)) {
      const std::size_t line_end = rest.rfind('\n', n - 1);
      if (line_end != rest.npos) n = line_end + 1;
    }
    rest.copy(buffer, n);
    taken_ += n;
    if (is_empty()) clear();
    return n;
  }

 private:
  void make_more() {
    text_.erase(0, std::exchange(taken_, 0));
    if (!more_(&text_)) more_ = {};
  }

  std::string text_;
  std::size_t taken_ = 0;
  Source more_;  // of what comes behind the text
};

}  // namespace fileref::runtime
