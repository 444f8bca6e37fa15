#include "runtime/launch/child/process_tree.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace fileref::runtime {
namespace {

// "PID (NAME) STATE PARENT ..."; a name can hold anything. 0 when there is no such process.
pid_t parent_of(pid_t process) {
  pid_t parent = 0;
  for_each_line(path_about(process, "stat").data(), [&](const char* line) {
    const char* behind_name = std::strrchr(line, ')');
    if (behind_name != nullptr && std::strlen(behind_name) > 4) parent = std::atoi(behind_name + 4);
  });
  return parent;
}

}  // namespace

std::array<char, 48> path_about(pid_t process, const char* file) {
  std::array<char, 12> digits{};
  std::size_t first = digits.size() - 1;
  for (long rest = process; rest > 0; rest /= 10) {
    digits[--first] = static_cast<char>('0' + rest % 10);
  }
  std::array<char, 48> path{"/proc/"};
  for (const char* part : {static_cast<const char*>(digits.data() + first), "/", file}) {
    std::strncat(path.data(), part, path.size() - 1 - std::strlen(path.data()));
  }
  return path;
}

ProcessTree::ProcessTree(pid_t root, void (*found)(pid_t process)) {
  add(root, found);
  for (std::size_t i = 0; i < count_; ++i) add_children(processes_[i], found);
}

void ProcessTree::add(pid_t process, void (*found)(pid_t process)) {
  if (count_ == processes_.size()) return;
  if (found != nullptr) found(process);
  processes_[count_++] = process;
}

// Reads the directory without the heap.
void ProcessTree::add_children(pid_t parent, void (*found)(pid_t process)) {
  constexpr std::size_t kLengthAt = 16, kNameAt = 19;  // in an entry
  const Fd directory(::open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  alignas(8) std::array<char, 8192> entries;
  for (long n;
       (n = ::syscall(SYS_getdents64, directory.get(), entries.data(), entries.size())) > 0;) {
    for (long at = 0; at < n;) {
      const char* entry = entries.data() + at;
      const pid_t process = std::atoi(entry + kNameAt);
      if (process > 0 && parent_of(process) == parent) add(process, found);
      unsigned short length = 0;
      std::memcpy(&length, entry + kLengthAt, sizeof length);
      at += length;
    }
  }
}

}  // namespace fileref::runtime
