// Cuts a stream of bytes into lines.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace fileref::runtime {

// Takes the first line off `text`, and its line feed, if it has one.
std::string_view take_line(std::string_view* text);

// Clients write for a terminal: the carriage returns at both ends of a line are taken off. A line
// of more than 1 MiB comes in pieces.
class LineBuffer {
 public:
  using Sink = std::function<void(std::string_view line)>;

  explicit LineBuffer(Sink sink) : sink_(std::move(sink)) {}

  void add(std::string_view bytes);
  // Passes on what stands behind the last line feed.
  void flush();

 private:
  Sink sink_;
  std::string partial_;
};

}  // namespace fileref::runtime
