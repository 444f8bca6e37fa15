#include "runtime/launch/child/stall_watch.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "runtime/launch/child/process_tree.h"
#include "runtime/launch/child/sockets.h"

namespace fileref::runtime {
namespace {

constexpr int kLooks = 12;  // within the limit
constexpr std::chrono::milliseconds kShortestInterval{10};

// A connection that is only kept alive moves less in a minute, and a transfer more.
constexpr std::uint64_t kIdleTalk = 4096;

// Bytes that a process has read and written, whatever from and to. Nothing: it is not known.
std::optional<std::uint64_t> bytes_moved(pid_t process) {
  std::optional<std::uint64_t> sum;
  for_each_line(path_about(process, "io").data(), [&](const char* line) {
    const std::string_view text(line);
    if (!text.starts_with("rchar: ") && !text.starts_with("wchar: ")) return;
    sum = sum.value_or(0) + std::strtoull(line + text.find(' '), nullptr, 10);
  });
  return sum;
}

// Bytes that came in through a socket, and that its peer has acknowledged.
std::uint64_t bytes_through(const Fd& socket) {
  tcp_info info{};
  socklen_t length = sizeof info;
  if (::getsockopt(socket.get(), IPPROTO_TCP, TCP_INFO, &info, &length) != 0) return 0;
  return info.tcpi_bytes_received + info.tcpi_bytes_acked;
}

std::uint64_t bytes_through_sockets(pid_t process) {
  std::uint64_t sum = 0;
  for_each_socket(process, [&sum](const Fd& socket) { sum += bytes_through(socket); });
  return sum;
}

}  // namespace

void StallWatch::begin() {
  watching_ = limit_.count() > 0;
  last_.reset();
  looks_without_ = 0;
  due_ = Clock::now() + interval();
}

std::chrono::milliseconds StallWatch::interval() const {
  return std::max(limit_ / kLooks, kShortestInterval);
}

bool StallWatch::look(pid_t client) {
  if (Clock::now() < due()) return false;
  due_ = Clock::now() + interval();
  const std::optional<Moved> now = moved(client);
  if (!now || !last_ || goes_on(*last_, *now)) {
    last_ = now;
    looks_without_ = 0;
    return false;
  }
  return ++looks_without_ >= kLooks;
}

std::optional<StallWatch::Moved> StallWatch::moved(pid_t client) {
  const std::optional<std::uint64_t> by_client = bytes_moved(client);
  if (!by_client) return std::nullopt;
  Moved sum{*by_client + bytes_through_sockets(client), 0};
  for (const pid_t process : ProcessTree(client)) {
    if (process == client) continue;
    sum.by_helpers += bytes_moved(process).value_or(0) + bytes_through_sockets(process);
  }
  return sum;
}

bool StallWatch::goes_on(const Moved& before, const Moved& now) {
  return now.by_client != before.by_client || now.by_helpers > before.by_helpers + kIdleTalk;
}

}  // namespace fileref::runtime
