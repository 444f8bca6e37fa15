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

#include "runtime/unsent.h"

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "fileref-tmp-";
// Marks a directory as one of ours, and is locked by the process that uses it.
constexpr const char* kLockName = "in-use.lock";

// Looked at without opening it: to open what is somebody else's may be to wait for them.
bool is_ours(const fs::path& path, mode_t type) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type &&
         status.st_uid == geteuid();
}

// The locked lock file of a directory; -1 when there is none or another process holds it.
int take_lock(const fs::path& directory, int flags) {
  const int lock = open((directory / kLockName).c_str(),
                        O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0600);
  if (lock < 0) return -1;
  if (flock(lock, LOCK_EX | LOCK_NB) == 0) return lock;
  close(lock);
  return -1;
}

// A directory whose lock can be had has no process any more.
int take_lock_of_dead(const fs::path& directory) {
  if (!directory.filename().native().starts_with(kPrefix) || !is_ours(directory, S_IFDIR)) {
    return -1;
  }
  rmdir(directory.c_str());  // of one that ended before it had a lock; else it is not empty
  return is_ours(directory / kLockName, S_IFREG) ? take_lock(directory, 0) : -1;
}

// Removes a directory and what is in it. With data that is kept there it stays, as a directory that
// nobody sweeps away.
void remove_temporaries(const fs::path& directory) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(directory, ignored)) {
    if (!is_kept(entry.path().filename().native())) fs::remove_all(entry.path(), ignored);
  }
  fs::remove(directory, ignored);
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

TempDirectory::TempDirectory(const std::string& parent, const std::string& unsent_directory)
    : owner_(getpid()) {
  sweep(parent, unsent_directory);
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

void TempDirectory::sweep(const std::string& parent, const std::string& unsent_directory) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(parent, error)) {
    const int lock = take_lock_of_dead(entry.path());
    if (lock < 0) continue;
    const std::vector<std::string> kept = keep_marked(entry.path(), unsent_directory);
    found_unsent_.insert(found_unsent_.end(), kept.begin(), kept.end());
    remove_temporaries(entry.path());
    close(lock);
  }
}

TempDirectory::~TempDirectory() {
  if (getpid() == owner_) remove_temporaries(path_);
  close(lock_);
}

std::string TempDirectory::fresh_path() const {
  return path_ + "/" + random_name(12);
}

}  // namespace fileref::runtime
