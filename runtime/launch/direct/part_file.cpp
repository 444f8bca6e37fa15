#include "runtime/launch/direct/part_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/framing.h"
#include "runtime/launch/local_file.h"

namespace fileref::runtime::direct {

std::string name_beside(const std::string& path) {
  constexpr std::size_t kLongestName = 255;  // in bytes, on nearly every file system
  constexpr std::size_t kRandomDigits = 12;
  const std::size_t name = path.rfind('/') + 1;
  const std::string end = ".fileref-" + make_nonce().substr(0, kRandomDigits);
  const std::string begin = "." + path.substr(name);
  return path.substr(0, name) + begin.substr(0, kLongestName - end.size()) + end;
}

PartFile::~PartFile() {
  if (file_ && ::getpid() == owner_) remove_local(part_);
}

bool PartFile::create() {
  if (const int error = remove_local(part_)) return fail("cannot remove ", error);
  file_.reset(::open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  owner_ = ::getpid();
  return file_ ? true : fail("cannot create ", errno);
}

bool PartFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return fail("cannot write ", errno);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool PartFile::clear() {
  const bool cleared = ::ftruncate(file_.get(), 0) == 0 && ::lseek(file_.get(), 0, SEEK_SET) == 0;
  return cleared ? true : fail("cannot empty ", errno);
}

// Some file systems say only at a close that what was written could not be kept.
bool PartFile::put_in_place() {
  const int again = ::dup(file_.get());
  if (again < 0 || ::close(again) != 0) return fail("cannot write ", errno);
  if (const int error = rename_local(part_, path_)) return fail("cannot write ", error);
  file_.reset();
  return true;
}

bool PartFile::fail(const char* what, int error) {
  why_ = what + quoted(path_) + ": " + std::strerror(error);
  return false;
}

}  // namespace fileref::runtime::direct
