#include "cli/record_output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <system_error>

#include "cli/interrupt.h"

namespace cli {
namespace {

constexpr const char* kName = "standard output";

// Lets us and the reader of our pipe work side by side; with its 64 KiB they take turns.
void widen_pipe() {
  constexpr int kWide = 1024 * 1024;
  const int size = fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
  if (size >= 0 && size < kWide) fcntl(STDOUT_FILENO, F_SETPIPE_SZ, kWide);
}

}  // namespace

RecordOutput::RecordOutput(std::string_view terminator)
    : terminator_(terminator), terminal_(isatty(STDOUT_FILENO) != 0) {
  widen_pipe();
  text_.reserve(2 * kEnough);
}

void RecordOutput::flush() {
  std::string_view left = text_;
  while (!left.empty()) {
    throw_if_interrupted();
    const ssize_t count = ::write(STDOUT_FILENO, left.data(), left.size());
    if (count < 0) {
      wait_to_go_on(STDOUT_FILENO, POLLOUT, kName);
    } else {
      left.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  text_.clear();
}

void print_records(fileref::Input& input, bool* open_line) try {
  widen_pipe();
  input.copy_to(STDOUT_FILENO, open_line);
} catch (const fileref::SystemError& error) {
  throw_if_interrupted();
  throw std::system_error(error.code(), kName);
}

}  // namespace cli
