// The message catalogue, and the texts that a failing entry leaves for its caller.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

#include "host/types.h"
#include "runtime/log.h"

namespace fileref::runtime {

class Messages {
 public:
  explicit Messages(Log& log) : log_(log) {}

  // The text of a message with its arguments, whose types are those of host/messages.def, at most
  // kMessageMax bytes. A message that is not in the catalogue says so.
  static std::string format(int group, int number, va_list arguments);
  // Writes the message to the log with its severity.
  void log(int group, int number, va_list arguments);

  // What the failure that is about to be returned carries; a later call replaces an earlier one.
  void attach(std::vector<std::string> substitutions) { attached_ = std::move(substitutions); }
  void attach_text(std::string text) { attached_ = {std::move(text)}; }
  void clear() { attached_.clear(); }
  const std::vector<std::string>& attached() const { return attached_; }

  // The sentence for a failure: of its code, with what was attached.
  std::string describe(rctype rc) const;

 private:
  Log& log_;
  std::vector<std::string> attached_;
};

}  // namespace fileref::runtime
