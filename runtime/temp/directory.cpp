#include "runtime/temp/directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "fileref-tmp-";
// Marks a directory as one of ours, and is locked by the process that uses it.
constexpr const char* kLockName = "in-use.lock";

bool is_ours(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// The locked lock file of a directory; -1 when there is none or another process holds it.
int take_lock(const fs::path& directory, int flags) {
  const int lock =
      open((directory / kLockName).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, 0600);
  if (lock < 0) return -1;
  if (is_ours(lock) && flock(lock, LOCK_EX | LOCK_NB) == 0) return lock;
  close(lock);
  return -1;
}

// A directory whose lock can be had has no process any more.
void sweep(const std::string& parent) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(parent, error)) {
    if (!entry.path().filename().native().starts_with(kPrefix)) continue;
    const int lock = take_lock(entry.path(), 0);
    if (lock < 0) continue;
    std::error_code ignored;
    fs::remove_all(entry.path(), ignored);
    close(lock);
  }
}

}  // namespace

std::string random_name(int count) {
  std::string name;
  for (int i = 0; i < count; ++i) {
    unsigned char byte = 0;
    if (getrandom(&byte, 1, 0) != 1) {
      throw std::system_error(errno, std::generic_category(), "no random bytes");
    }
    constexpr std::string_view kDigits = "0123456789abcdef";
    name += kDigits[byte >> 4];
    name += kDigits[byte & 0xF];
  }
  return name;
}

TempDirectory::TempDirectory(const std::string& parent) : owner_(getpid()) {
  sweep(parent);
  // Before the lock is taken another process may sweep the directory away as a dead one's.
  for (int attempt = 0; attempt < 10; ++attempt) {
    path_ = parent + "/" + std::string(kPrefix) + "XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) break;
    lock_ = take_lock(path_, O_CREAT);
    struct stat status;
    if (lock_ >= 0 && fstat(lock_, &status) == 0 && status.st_nlink > 0) return;
    if (lock_ >= 0) close(lock_);
  }
  throw std::system_error(errno, std::generic_category(),
                          "no temporary directory can be made in " + parent + " (set TMPDIR)");
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  if (getpid() == owner_) fs::remove_all(path_, ignored);
  close(lock_);
}

std::string TempDirectory::fresh_path() const {
  return path_ + "/" + random_name(12);
}

}  // namespace fileref::runtime
