#include "cli/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace cli {

void hold_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free descriptor is the one that is opened.
    if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) {
      throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
  }
}

}  // namespace cli
