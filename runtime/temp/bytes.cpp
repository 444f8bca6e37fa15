#include "runtime/temp/bytes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace fileref::runtime {
namespace {

std::string reason() {
  return std::generic_category().message(errno);
}

class FileSource : public ByteSource {
 public:
  explicit FileSource(int file) : file_(file) {}
  ~FileSource() override { close(file_); }

  long read(char* buffer, std::size_t capacity) override {
    long count = 0;
    do {
      count = ::read(file_, buffer, capacity);
    } while (count < 0 && errno == EINTR);
    if (count < 0) why_ = fmt::format("The temporary file cannot be read: {}.", reason());
    return count;
  }

  int file() const override { return file_; }

 private:
  int file_;
};

class FileSink : public ByteSink {
 public:
  explicit FileSink(int file) : file_(file) {}
  ~FileSink() override {
    if (file_ >= 0) close(file_);
  }

  bool write(const char* bytes, std::size_t length) override {
    while (length > 0) {
      const ssize_t count = ::write(file_, bytes, length);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return fail();
      bytes += count;
      length -= static_cast<std::size_t>(count);
    }
    return true;
  }

  bool finish() override {
    if (file_ < 0) return true;
    return close(std::exchange(file_, -1)) == 0 || fail();
  }

 private:
  bool fail() {
    const char* advice = errno == EFBIG ? "Raise the limit on the size of files (ulimit -f)."
                                        : "Make room, or set TMPDIR to another place.";
    why_ = fmt::format("The temporary file cannot be written: {}. {}", reason(), advice);
    return false;
  }

  int file_;
};

}  // namespace

std::unique_ptr<ByteSource> open_file_source(const std::string& path, std::string& why) {
  const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat status {};
  if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
    return std::make_unique<FileSource>(file);
  }
  why = fmt::format("The temporary file cannot be opened: {}.",
                    file < 0 ? reason() : "it is not a regular file");
  if (file >= 0) close(file);
  return nullptr;
}

std::unique_ptr<ByteSink> create_file_sink(const std::string& path, std::string& why) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file >= 0) return std::make_unique<FileSink>(file);
  why = fmt::format("The temporary file cannot be made: {}.", reason());
  return nullptr;
}

}  // namespace fileref::runtime
