#include "runtime/launch/child/sockets.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "runtime/launch/child/process_tree.h"

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

bool listens(const Fd& socket) {
  int on = 0;
  socklen_t length = sizeof on;
  return ::getsockopt(socket.get(), SOL_SOCKET, SO_ACCEPTCONN, &on, &length) != 0 || on != 0;
}

}  // namespace

bool for_each_socket(pid_t process, const std::function<void(const Fd& socket)>& take) {
  const Fd handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  std::error_code gone;
  fs::directory_iterator descriptors(path_about(process, "fd").data(), gone), none;
  bool all = static_cast<bool>(handle);
  for (; all && !gone && descriptors != none; descriptors.increment(gone)) {
    std::error_code closed;
    if (!fs::is_socket(descriptors->path(), closed)) continue;
    const int number = std::atoi(descriptors->path().filename().c_str());
    const Fd socket(static_cast<int>(::syscall(SYS_pidfd_getfd, handle.get(), number, 0)));
    all = static_cast<bool>(socket);
    if (all) take(socket);
  }
  return all && !gone;
}

bool may_serve_others(pid_t process) {
  bool serves = false;
  const bool all =
      for_each_socket(process, [&serves](const Fd& socket) { serves = serves || listens(socket); });
  return serves || !all;
}

}  // namespace fileref::runtime
