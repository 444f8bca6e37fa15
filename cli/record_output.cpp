#include "cli/record_output.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "cli/interrupt.h"

namespace cli {

RecordOutput::RecordOutput(std::string_view terminator) : terminator_(terminator) {
  text_.reserve(2 * kEnough);
}

void RecordOutput::flush() {
  std::string_view left = text_;
  while (!left.empty()) {
    throw_if_interrupted();
    const ssize_t count = ::write(STDOUT_FILENO, left.data(), left.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw std::system_error(errno, std::generic_category(), "standard output");
    left.remove_prefix(static_cast<std::size_t>(count));
  }
  text_.clear();
}

}  // namespace cli
