// The host log: one line an event, with its time and the fileref it is about.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace fileref::runtime {

class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;

  // Lines go to `sink`, without a line feed; an empty sink drops them.
  explicit Log(Sink sink) : sink_(std::move(sink)) {}

  // What the lines that follow are about; blank: nothing in particular.
  void set_subject(std::string_view fileref) { subject_ = fileref; }
  const std::string& subject() const { return subject_; }

  // Writes "<time> <fileref> <kind>: <text>". What of the text is not printable is written as
  // \xNN, so that a line stays a line.
  void write(std::string_view kind, std::string_view text);

 private:
  Sink sink_;
  std::string subject_;
};

}  // namespace fileref::runtime
