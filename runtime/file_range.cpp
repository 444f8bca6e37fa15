#include "runtime/file_range.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fstream>
#include <vector>

namespace fileref::runtime {
namespace {

long read_at(int file, char* buffer, std::size_t capacity, off_t at) {
  ssize_t count = 0;
  do {
    count = ::pread(file, buffer, capacity, at);
  } while (count < 0 && errno == EINTR);
  return count;
}

// Files of the system may have more bytes than their size says, or fewer.
bool ends_at(int file, off_t end) {
  char byte = 0;
  return read_at(file, &byte, 1, end - 1) == 1 && read_at(file, &byte, 1, end) == 0;
}

}  // namespace

std::optional<struct stat> FileRange::status() const {
  struct stat found {};
  if (::fstat(file_->get(), &found) != 0) return std::nullopt;
  return found;
}

std::string FileRange::path() const {
  std::array<char, PATH_MAX> buffer;
  const std::string link = "/proc/self/fd/" + std::to_string(file_->get());
  const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
  if (length <= 0) return {};
  const std::string path(buffer.data(), static_cast<std::size_t>(length));
  const std::optional<struct stat> own = status();
  struct stat found {};
  const bool is_there = own && ::stat(path.c_str(), &found) == 0 && found.st_dev == own->st_dev &&
                        found.st_ino == own->st_ino && found.st_size >= end_;
  return is_there ? path : "";
}

long FileRange::read(char* buffer, std::size_t capacity) {
  if (at_ == end_) return 0;
  capacity = std::min(capacity, static_cast<std::size_t>(end_ - at_));
  const long count = read_at(file_->get(), buffer, capacity, at_);
  if (count == 0) errno = ENODATA;
  if (count <= 0) return -1;
  at_ += count;
  return count;
}

std::optional<FileRange> open_range(const std::string& path) {
  Fd file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!file || ::fstat(file.get(), &found) != 0) return std::nullopt;
  if (S_ISREG(found.st_mode)) return FileRange(std::move(file), 0, found.st_size);
  errno = EINVAL;
  return std::nullopt;
}

std::optional<FileRange> rest_of_file(int file) {
  struct stat found {};
  if (::fstat(file, &found) != 0 || !S_ISREG(found.st_mode)) return std::nullopt;
  const off_t begin = ::lseek(file, 0, SEEK_CUR);
  const bool has_rest = begin >= 0 && begin < found.st_size;
  if (found.st_nlink == 0 || !has_rest || !ends_at(file, found.st_size)) return std::nullopt;
  Fd own(::fcntl(file, F_DUPFD_CLOEXEC, 0));
  if (!own) return std::nullopt;
  return FileRange(std::move(own), begin, found.st_size);
}

bool copy_range(FileRange range, const std::string& path) {
  constexpr std::size_t kPiece = std::size_t{256} << 10;
  const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file) return false;
  std::ofstream out(path, std::ios::binary);
  std::vector<char> piece(kPiece);
  long count = 0;
  range.rewind();
  while (out && (count = range.read(piece.data(), piece.size())) > 0) {
    out.write(piece.data(), count);
  }
  out.close();
  if (out && count == 0) return true;
  ::unlink(path.c_str());
  return false;
}

}  // namespace fileref::runtime
