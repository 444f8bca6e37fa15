// A process and all that descend from it. Only async-signal-safe calls and no heap, so that it can
// be used behind a fork.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "runtime/fd.h"

namespace fileref::runtime {

class ProcessTree {
 public:
  // `found` is called with each process before its children are looked for: one that it stops
  // starts no others meanwhile. At most 1024 are found.
  explicit ProcessTree(pid_t root, void (*found)(pid_t process) = nullptr);

  const pid_t* begin() const { return processes_.data(); }
  const pid_t* end() const { return begin() + count_; }

 private:
  void add(pid_t process, void (*found)(pid_t process));
  void add_children(pid_t parent, void (*found)(pid_t process));

  std::array<pid_t, 1024> processes_;
  std::size_t count_ = 0;
};

// The path of a file that the system keeps about a process: "/proc/PID/FILE".
std::array<char, 48> path_about(pid_t process, const char* file);

// Calls `take` with each line of a file, without its line feed. One over 4 KiB comes in pieces.
template <class Take>
void for_each_line(const char* path, Take take) {
  const Fd file(::open(path, O_RDONLY | O_CLOEXEC));
  std::array<char, 4096> text;
  std::size_t held = 0;
  for (ssize_t n; (n = ::read(file.get(), text.data() + held, text.size() - 1 - held)) > 0;) {
    held += static_cast<std::size_t>(n);
    text[held] = '\0';
    char* line = text.data();
    for (char* end; (end = std::strchr(line, '\n')) != nullptr; line = end + 1) {
      *end = '\0';
      take(line);
    }
    held = std::strlen(line);
    if (held == text.size() - 1) held = 0;
    std::memmove(text.data(), line, held);
  }
}

}  // namespace fileref::runtime
