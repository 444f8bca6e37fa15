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

constexpr std::string_view kPrefix = "fileref-";

int open_directory(const std::string& path) {
  return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool is_ours(int directory) {
  struct stat status;
  return fstat(directory, &status) == 0 && status.st_uid == geteuid();
}

// A directory whose lock can be had has no process any more.
void sweep(const std::string& parent) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(parent, error)) {
    if (!entry.path().filename().native().starts_with(kPrefix)) continue;
    const int directory = open_directory(entry.path());
    if (directory < 0) continue;
    if (is_ours(directory) && flock(directory, LOCK_EX | LOCK_NB) == 0) {
      std::error_code ignored;
      fs::remove_all(entry.path(), ignored);
    }
    close(directory);
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

TempDirectory::TempDirectory(const std::string& parent) {
  sweep(parent);
  // Between its making and its locking another process may take the directory for a dead one's.
  for (int attempt = 0; attempt < 10; ++attempt) {
    path_ = parent + "/" + std::string(kPrefix) + "XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) break;
    lock_ = open_directory(path_);
    struct stat status;
    if (lock_ >= 0 && flock(lock_, LOCK_EX | LOCK_NB) == 0 && stat(path_.c_str(), &status) == 0) {
      return;
    }
    if (lock_ >= 0) close(lock_);
  }
  throw std::system_error(errno, std::generic_category(),
                          "no temporary directory can be made in " + parent + " (set TMPDIR)");
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  close(lock_);
}

std::string TempDirectory::fresh_path() const {
  return path_ + "/" + random_name(12);
}

}  // namespace fileref::runtime
