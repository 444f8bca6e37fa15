#include "runtime/launch/line_buffer.h"

#include <algorithm>

namespace fileref::runtime {
namespace {

constexpr std::size_t kLongestLine = std::size_t{1} << 20;

std::string_view without_carriage_returns(std::string_view line) {
  while (line.starts_with('\r')) line.remove_prefix(1);
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

std::string_view take_line(std::string_view* text) {
  const std::size_t end = std::min(text->find('\n'), text->size());
  const std::string_view line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return line;
}

void LineBuffer::add(std::string_view bytes) {
  for (std::size_t end; (end = bytes.find('\n')) != bytes.npos; bytes.remove_prefix(end + 1)) {
    partial_ += bytes.substr(0, end);
    sink_(without_carriage_returns(partial_));
    partial_.clear();
  }
  partial_ += bytes;
  if (partial_.size() > kLongestLine) flush();
}

void LineBuffer::flush() {
  if (!partial_.empty()) sink_(without_carriage_returns(partial_));
  partial_.clear();
}

}  // namespace fileref::runtime
