#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "runtime/fd.h"
#include "runtime/launch/direct/part_file.h"
#include "runtime/launch/local_file.h"
#include "runtime/library/copy/folder.h"

namespace fileref {
namespace {

namespace fs = std::filesystem;
using runtime::Fd;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw Error(fmt::format("\"{}\" {}", path, why));
}

[[noreturn]] void fail(const std::string& path, int error) {
  const std::error_code code(error, std::generic_category());
  throw SystemError(code, fmt::format("\"{}\": {}", path, code.message()));
}

void check_regular(const std::string& path, mode_t mode) {
  if (S_ISDIR(mode)) refuse(path, "is a directory: only files are copied");
  if (!S_ISREG(mode)) refuse(path, "is no regular file: read it, or write to it");
}

class SourceHere : public CopySource {
 public:
  explicit SourceHere(const std::string& path) : path_(path), buffer_(kLargestPiece, '\0') {
    file_.reset(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) fail(path, errno);
    check_regular(path, status.st_mode);
    size_ = static_cast<std::uint64_t>(status.st_size);
    ::posix_fadvise(file_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  }

  // One that grows is read to the size that it had; files of the system state none.
  std::string_view next() override {
    const std::uint64_t left = size_ == 0 ? buffer_.size() : size_ - read_;
    const std::size_t wanted = std::min<std::uint64_t>(left, buffer_.size());
    ssize_t count = 0;
    do {
      count = ::read(file_.get(), buffer_.data(), wanted);
    } while (count < 0 && errno == EINTR);
    if (count < 0) fail(path_, errno);
    read_ += static_cast<std::uint64_t>(count);
    if (count == 0 && read_ < size_) {
      refuse(path_, fmt::format("shrank while it was read: {} of {} bytes came", read_, size_));
    }
    return {buffer_.data(), static_cast<std::size_t>(count)};
  }
  int file() const override { return file_.get(); }
  std::optional<std::uint64_t> size() const override { return size_; }

 private:
  std::string path_;
  std::string buffer_;
  Fd file_;
  std::uint64_t size_ = 0, read_ = 0;
};

// The file that is replaced, with its mode; where there is none yet, the path and the usual mode.
struct Replaced {
  std::string path;
  unsigned mode = runtime::default_file_mode();
};

Replaced replaced_at(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) fail(path, errno);
    if (::lstat(path.c_str(), &status) == 0) refuse(path, "is a link to what is not there");
    return {path};
  }
  check_regular(path, status.st_mode);
  if (::access(path.c_str(), W_OK) != 0) fail(path, errno);
  return {fs::canonical(path), status.st_mode & 07777};
}

class SinkHere : public CopySink {
 public:
  explicit SinkHere(const std::string& path)
      : replaced_(replaced_at(path)),
        part_path_(runtime::direct::name_beside(replaced_.path)),
        part_(replaced_.path, part_path_) {
    check(part_.create());
  }

  void write(std::string_view bytes) override {
    check(part_.write(bytes));
    written_ += bytes.size();
  }

  void finish() override {
    if (runtime::local_size(part_path_) != written_)
      refuse(replaced_.path, "did not get all bytes");
    if (const int error = runtime::set_local_mode(part_path_, replaced_.mode)) {
      fail(replaced_.path, error);
    }
    check(part_.put_in_place());
  }

 private:
  void check(bool done) const {
    if (!done) throw Error(part_.why());
  }

  Replaced replaced_;
  std::string part_path_;
  runtime::direct::PartFile part_;
  std::uint64_t written_ = 0;
};

class FolderHere : public Folder {
 public:
  explicit FolderHere(std::string path) : path_(std::move(path)) {}

  bool has(const std::string& name) override { return !identity(name).empty(); }
  bool has_directory(const std::string& name) override {
    std::error_code ignored;
    return fs::is_directory(path_to(name), ignored);
  }
  std::vector<std::string> matching(const std::string& /*pattern*/) override { return {}; }
  std::unique_ptr<CopySource> open(const std::string& name) override {
    return std::make_unique<SourceHere>(path_to(name));
  }
  std::unique_ptr<CopySink> create(const std::string& name) override {
    return std::make_unique<SinkHere>(path_to(name));
  }
  std::string identity(const std::string& name) const override {
    return identity_here(path_to(name));
  }

 private:
  std::string path_to(const std::string& name) const { return path_ + name; }

  std::string path_;  // empty, or with a slash at its end
};

}  // namespace

std::string identity_here(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  return fmt::format("{}:{}", status.st_dev, status.st_ino);
}

std::unique_ptr<Folder> folder_here(const std::string& path) {
  std::error_code error;
  const bool there = path.empty() || fs::is_directory(path, error);
  if (error) fail(path, error.value());
  if (!there) refuse(path, "is no directory");
  return std::make_unique<FolderHere>(path.empty() || path.ends_with('/') ? path : path + "/");
}

}  // namespace fileref
