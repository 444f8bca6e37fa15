#include "runtime/launch/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>

#include "runtime/fd.h"

namespace fileref::runtime {

std::optional<std::uint64_t> local_size(const std::string& path) {
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(st.st_size);
}

bool same_contents(const std::string& path, const std::string& other) {
  std::ifstream a(path, std::ios::binary), b(other, std::ios::binary);
  std::array<char, 65536> from_a, from_b;
  do {
    a.read(from_a.data(), from_a.size());
    b.read(from_b.data(), from_b.size());
    if (a.gcount() != b.gcount() ||
        !std::equal(from_a.begin(), from_a.begin() + a.gcount(), from_b.begin())) {
      return false;
    }
  } while (a && b);
  return a.eof() && b.eof();
}

int remove_local(const std::string& path) {
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

int rename_local(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int set_local_mode(const std::string& path, unsigned mode) {
  return ::chmod(path.c_str(), mode) == 0 ? 0 : errno;
}

int probe_local(const std::string& path) {
  const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return file ? remove_local(path) : errno;
}

// umask(2) can only be read by setting it, which other threads would notice.
unsigned default_file_mode() {
  std::ifstream status("/proc/self/status");
  std::string word;
  unsigned mask = 022;
  while (status >> word) {
    if (word != "Umask:") continue;
    status >> std::oct >> mask;
    break;
  }
  return 0666 & ~mask;
}

}  // namespace fileref::runtime
