#include "runtime/launch/child/guardian.h"

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
#include <utility>

#include "runtime/launch/child/process_tree.h"
#include "runtime/launch/child/spawn.h"

// Behind the fork only async-signal-safe calls are allowed, and no heap: it is given back.
namespace fileref::runtime {
namespace {

constexpr std::uintptr_t kLargeMapping = std::uintptr_t{1} << 20;
constexpr std::uintptr_t kSurroundings = std::uintptr_t{256} << 10;

int pidfd_of(pid_t process) {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

// Gives back what lies between two addresses, but for the surroundings of those that are in use,
// the lower one first. The system merges mappings, so one may hold anything.
void give_back(std::uintptr_t from, std::uintptr_t to, const std::array<std::uintptr_t, 2>& used) {
  for (const std::uintptr_t address : used) {
    const std::uintptr_t start = (address & ~(kSurroundings - 1)) - kSurroundings;
    const std::uintptr_t end = start + 3 * kSurroundings;
    if (end <= from || to <= start) continue;
    if (from < start) ::madvise(reinterpret_cast<void*>(from), start - from, MADV_DONTNEED);
    from = end;
  }
  if (from < to) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);
}

// What a sanitizer keeps of memory is in use all the time.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsMemory = true;
#else
constexpr bool kKeepsMemory = false;
#endif

// A copy of the host's memory would grow with every page that the host writes to. What is large and
// private goes, but for the stack and what belongs to this thread.
void give_memory_back() {
  char on_stack = 0;
  std::array used = {reinterpret_cast<std::uintptr_t>(&on_stack),
                     reinterpret_cast<std::uintptr_t>(&errno)};
  if (used[0] > used[1]) std::swap(used[0], used[1]);
  for_each_line("/proc/self/maps", [&](const char* line) {
    char* rest = nullptr;
    const std::uintptr_t from = std::strtoull(line, &rest, 16);
    if (*rest != '-') return;
    const std::uintptr_t to = std::strtoull(rest + 1, &rest, 16);
    const bool anonymous = std::strstr(rest, " 00:00 0") != nullptr;
    if (std::strncmp(rest, " rw-p ", 6) == 0 && anonymous && to - from >= kLargeMapping) {
      give_back(from, to, used);
    }
  });
}

[[noreturn]] void watch(pid_t host, pid_t client, bool own_group, int lifeline) {
  std::array<int, 3> watched{lifeline, pidfd_of(host), pidfd_of(client)};
  const bool host_has_gone = ::getppid() != host;
  if (!put_on_standard_streams(watched)) ::_exit(1);
  ::close_range(3, ~0U, 0);
  ::setsid();
  [[maybe_unused]] const int moved = ::chdir("/");
  ::prctl(PR_SET_NAME, "fileref-guard");
  if (!kKeepsMemory) give_memory_back();
  std::array<pollfd, 3> events{{{0, POLLIN, 0}, {1, POLLIN, 0}, {2, POLLIN, 0}}};
  bool client_has_gone = false;
  while (!host_has_gone && events[0].revents == 0 && events[1].revents == 0) {
    // Its number may be another's by now.
    if (client_has_gone) events[2].fd = -1;
    const int ready = ::poll(events.data(), events.size(), -1);
    client_has_gone = client_has_gone || (ready > 0 && events[2].revents != 0);
  }
  if (events[2].fd < 0) ::_exit(0);
  if (!client_has_gone) {
    const ProcessTree tree(client, [](pid_t process) { ::kill(process, SIGSTOP); });
    for (const pid_t process : tree) ::kill(process, SIGKILL);
  }
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
