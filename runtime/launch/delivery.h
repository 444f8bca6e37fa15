// Text on its way to a reader that takes it in pieces.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace fileref::runtime {

class Delivery {
 public:
  void append(std::string_view text) { text_ += text; }
  void clear() {
    text_.clear();
    taken_ = 0;
  }
  std::size_t left() const { return text_.size() - taken_; }

  // Copies at most `capacity` bytes out and returns how many: up to the end of the last line that
  // fits whole, if there is one.
  std::size_t take(char* buffer, std::size_t capacity) {
    const std::string_view rest = std::string_view(text_).substr(taken_);
    std::size_t n = std::min(rest.size(), capacity);
    if (n > 0 && n < rest.size()) {
      const std::size_t line_end = rest.rfind('\n', n - 1);
      if (line_end != rest.npos) n = line_end + 1;
    }
    rest.copy(buffer, n);
    taken_ += n;
    if (left() == 0) clear();
    return n;
  }

 private:
  std::string text_;
  std::size_t taken_ = 0;
};

}  // namespace fileref::runtime
