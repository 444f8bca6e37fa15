#include "runtime/launch/guardian.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "runtime/launch/spawn.h"

// Behind the fork only async-signal-safe calls are allowed, and no heap: it is given back.
namespace fileref::runtime {
namespace {

constexpr std::size_t kLargeMapping = std::size_t{1} << 20;

int pidfd_of(pid_t process) {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

// Calls `take` with each line of a file, without its line feed. Longer ones come in pieces.
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

// A copy of the host's memory would grow with every page that the host writes to. What is large and
// private goes, but for the stack and what belongs to this thread.
void give_memory_back() {
  char on_stack = 0;
  const std::array kept = {reinterpret_cast<std::uintptr_t>(&on_stack),
                           reinterpret_cast<std::uintptr_t>(&errno)};
  for_each_line("/proc/self/maps", [&](const char* line) {
    char* rest = nullptr;
    const std::uintptr_t from = std::strtoull(line, &rest, 16);
    if (*rest != '-') return;
    const std::uintptr_t to = std::strtoull(rest + 1, &rest, 16);
    const bool anonymous = std::strstr(rest, " 00:00 0") != nullptr;
    if (std::strncmp(rest, " rw-p ", 6) != 0 || !anonymous || to - from < kLargeMapping) return;
    for (const std::uintptr_t address : kept) {
      if (from <= address && address < to) return;
    }
    ::madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);
  });
}

// "/proc/" and the number and "/stat".
std::array<char, 40> stat_path(pid_t process) {
  std::array<char, 40> path{"/proc/"};
  std::array<char, 12> digits{};
  std::size_t first = digits.size() - 1;
  for (long rest = process; rest > 0; rest /= 10)
    digits[--first] = static_cast<char>('0' + rest % 10);
  std::strcat(path.data(), digits.data() + first);
  std::strcat(path.data(), "/stat");
  return path;
}

// "PID (NAME) STATE PARENT ..."; a name can hold anything. 0 when there is no such process.
pid_t parent_of(pid_t process) {
  pid_t parent = 0;
  for_each_line(stat_path(process).data(), [&](const char* line) {
    const char* behind_name = std::strrchr(line, ')');
    if (behind_name != nullptr && std::strlen(behind_name) > 4) parent = std::atoi(behind_name + 4);
  });
  return parent;
}

// The processes that descend from one. Each is stopped when it is found, so that it starts no other
// meanwhile.
class Tree {
 public:
  explicit Tree(pid_t root) {
    add(root);
    for (std::size_t i = 0; i < count_; ++i) add_children(found_[i]);
  }
  void kill() const {
    for (std::size_t i = 0; i < count_; ++i) ::kill(found_[i], SIGKILL);
  }

 private:
  void add(pid_t process) {
    if (count_ == found_.size()) return;
    ::kill(process, SIGSTOP);
    found_[count_++] = process;
  }

  // Reads the directory without the heap.
  void add_children(pid_t parent) {
    const Fd processes(::open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    alignas(8) std::array<char, 8192> entries;
    for (long n;
         (n = ::syscall(SYS_getdents64, processes.get(), entries.data(), entries.size())) > 0;) {
      for (long at = 0; at < n;) {
        const char* entry = entries.data() + at;
        constexpr std::size_t kLengthAt = 16, kNameAt = 19;
        unsigned short length = 0;
        std::memcpy(&length, entry + kLengthAt, sizeof length);
        const pid_t process = std::atoi(entry + kNameAt);
        if (process > 0 && parent_of(process) == parent) add(process);
        at += length;
      }
    }
  }

  std::array<pid_t, 1024> found_;
  std::size_t count_ = 0;
};

[[noreturn]] void watch(pid_t host, pid_t client, bool own_group, int lifeline) {
  std::array<int, 3> watched{lifeline, pidfd_of(host), pidfd_of(client)};
  const bool host_has_gone = ::getppid() != host;
  if (!put_on_standard_streams(watched)) ::_exit(1);
  ::close_range(3, ~0U, 0);
  ::setsid();
  [[maybe_unused]] const int moved = ::chdir("/");
  ::prctl(PR_SET_NAME, "fileref-guard");
  give_memory_back();
  std::array<pollfd, 3> events{{{0, POLLIN, 0}, {1, POLLIN, 0}, {2, POLLIN, 0}}};
  bool client_has_gone = false;
  while (!host_has_gone && events[0].revents == 0 && events[1].revents == 0) {
    // Its number may be another's by now.
    if (client_has_gone) events[2].fd = -1;
    const int ready = ::poll(events.data(), events.size(), -1);
    client_has_gone = client_has_gone || (ready > 0 && events[2].revents != 0);
  }
  if (events[2].fd < 0) ::_exit(0);
  if (!client_has_gone) Tree(client).kill();
  if (own_group) ::kill(-client, SIGKILL);
  ::_exit(0);
}

}  // namespace

Guardian::Guardian(pid_t client, bool own_group) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return;
  const Fd watched(ends[0]);
  lifeline_.reset(ends[1]);
  const pid_t host = ::getpid();
  pid_ = fork_quietly();
  if (pid_ != 0) return;
  lifeline_.reset();
  watch(host, client, own_group, watched.get());
}

void Guardian::dismiss() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  forget();
}

void Guardian::forget() {
  pid_ = -1;
  lifeline_.reset();
}

}  // namespace fileref::runtime
