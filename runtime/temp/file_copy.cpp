#include "runtime/temp/file_copy.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <system_error>
#include <vector>

namespace fileref::runtime {
namespace {

// As much as the largest pipe that everybody may have.
constexpr off_t kWindow = 1024 * 1024;

[[noreturn]] void fail_to_write(int error) {
  throw std::system_error(error, std::generic_category(), "The records cannot be written");
}

// Behind a call that failed with errno: returns when it is to be made again, throws otherwise. What
// does not take bytes at the moment is waited for.
void wait_to_go_on(const Destination& out) {
  const int error = errno;
  if (error != EINTR && error != EAGAIN) fail_to_write(error);
  if (error == EAGAIN) {
    constexpr int kPatience = 100;  // milliseconds, since a signal may come just before the wait
    pollfd ready{out.fd, POLLOUT, 0};
    poll(&ready, 1, kPatience);
  }
  if (out.interrupted && out.interrupted()) fail_to_write(EINTR);
}

// The next part of a file, mapped while it is looked at.
class Window {
 public:
  // Empty at the end of the file, and when it cannot be mapped.
  Window(int file, off_t begin) {
    struct stat status {};
    if (fstat(file, &status) != 0 || status.st_size <= begin) return;
    const off_t lead = begin % sysconf(_SC_PAGESIZE);
    const auto length = static_cast<std::size_t>(lead + std::min(kWindow, status.st_size - begin));
    void* map = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file, begin - lead);
    if (map == MAP_FAILED) return;
    map_ = {static_cast<const char*>(map), length};
    bytes_ = map_.substr(static_cast<std::size_t>(lead));
  }
  ~Window() {
    if (!map_.empty()) munmap(const_cast<char*>(map_.data()), map_.size());
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  std::string_view bytes() const { return bytes_; }

 private:
  std::string_view map_;
  std::string_view bytes_;
};

// Copies `text`, which stands in `file` at `begin`. The kernel hands the file's pages on, where
// `out` can take them.
void send(int file, off_t begin, std::string_view text, const Destination& out) {
  while (!text.empty()) {
    const ssize_t count = sendfile(out.fd, file, &begin, text.size());
    if (count == 0) fail_to_write(EIO);
    if (count < 0 && (errno == EINVAL || errno == ENOSYS)) return write_all(out, text);
    if (count < 0) {
      wait_to_go_on(out);
    } else {
      text.remove_prefix(static_cast<std::size_t>(count));
    }
  }
}

}  // namespace

// The last line feed within a line's limit ends only lines that keep it, so what stands before it
// is not looked at.
std::string_view lines_within(std::string_view text, std::size_t longest) {
  std::size_t end = 0;
  while (end < text.size()) {
    const std::string_view reach = text.substr(end).substr(0, longest + 1);
    const void* feed = memrchr(reach.data(), '\n', reach.size());
    if (feed == nullptr) break;
    end = static_cast<std::size_t>(static_cast<const char*>(feed) - text.data()) + 1;
  }
  return text.substr(0, end);
}

bool are_lines_within(FileRange bytes, std::size_t longest,
                      const std::function<bool()>& interrupted) {
  std::vector<char> buffer(kWindow);
  std::size_t held = 0;  // bytes of a line that is not complete yet
  for (;;) {
    const long count = bytes.read(buffer.data() + held, buffer.size() - held);
    if (count <= 0) return count == 0;
    const std::string_view all(buffer.data(), held + static_cast<std::size_t>(count));
    const std::string_view line = all.substr(lines_within(all, longest).size());
    held = line.size();
    if (held > longest || held == buffer.size() || (interrupted && interrupted())) return false;
    std::memmove(buffer.data(), line.data(), held);
  }
}

off_t copy_bytes(int file, off_t begin, const Destination& out) {
  for (;;) {
    const Window window(file, begin);
    if (window.bytes().empty()) return begin;
    send(file, begin, window.bytes(), out);
    begin += static_cast<off_t>(window.bytes().size());
  }
}

off_t copy_lines(int file, off_t begin, std::size_t longest, const Destination& out) {
  for (;;) {
    const Window window(file, begin);
    const std::string_view lines = lines_within(window.bytes(), longest);
    if (lines.empty()) return begin;
    send(file, begin, lines, out);
    begin += static_cast<off_t>(lines.size());
  }
}

// In pieces short enough that a byte can count the hits of each lane of a vector.
long count_lines(std::string_view text) {
  constexpr std::size_t kLanes = 64, kRounds = 255;
  long lines = 0;
  while (text.size() >= kLanes) {
    std::array<std::uint8_t, kLanes> hits{};
    const std::size_t rounds = std::min(text.size() / kLanes, kRounds);
    for (std::size_t round = 0; round < rounds; ++round) {
      for (std::size_t i = 0; i < kLanes; ++i) hits[i] += text[round * kLanes + i] == '\n';
    }
    lines = std::accumulate(hits.begin(), hits.end(), lines);
    text.remove_prefix(rounds * kLanes);
  }
  return lines + std::count(text.begin(), text.end(), '\n');
}

long count_lines(int file, off_t end) {
  long lines = 0;
  for (off_t begin = 0; begin < end;) {
    const Window window(file, begin);
    if (window.bytes().empty()) break;
    const std::string_view text = window.bytes().substr(0, static_cast<std::size_t>(end - begin));
    lines += count_lines(text);
    begin += static_cast<off_t>(text.size());
  }
  return lines;
}

void write_all(const Destination& out, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(out.fd, text.data(), text.size());
    if (count < 0) {
      wait_to_go_on(out);
    } else {
      text.remove_prefix(static_cast<std::size_t>(count));
    }
  }
}

}  // namespace fileref::runtime
