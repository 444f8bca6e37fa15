// Standard output, record by record.
#pragma once

#include <string>
#include <string_view>

#include "fileref/file.h"
#include "fileref/printable.h"

namespace cli {

// Collects whole records, so that what is written out always ends with one. What was not flushed is
// never written.
class RecordOutput {
 public:
  // `terminator` goes behind each record.
  explicit RecordOutput(std::string_view terminator);

  void add(std::string_view record) {
    if (terminal_) record = shown_ = fileref::printable_name(record);
    text_.append(record).append(terminator_);
    if (text_.size() >= kEnough) flush();
  }
  // Throws std::system_error and Interrupted.
  void flush();

 private:
  static constexpr std::size_t kEnough = 128 * 1024;
  std::string_view terminator_;
  bool terminal_;  // to which only what is printable goes
  std::string shown_;
  std::string text_;
};

// Prints all records of an input; `open_line` as in Input::copy_to. Throws Failure when those
// before it are printed, and std::system_error.
void print_records(fileref::Input& input, bool* open_line);

}  // namespace cli
