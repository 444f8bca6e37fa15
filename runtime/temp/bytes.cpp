#include "runtime/temp/bytes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
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

class ConvertingSource : public ByteSource {
 public:
  ConvertingSource(std::unique_ptr<ByteSource> source, Converter converter, std::string encoding)
      : source_(std::move(source)),
        converter_(std::move(converter)),
        encoding_(std::move(encoding)) {}

  long read(char* buffer, std::size_t capacity) override {
    while (taken_ == text_.size() && !ended_) {
      if (failed_) return -1;
      text_.clear();
      taken_ = 0;
      fill();
    }
    const std::size_t count = std::min(capacity, text_.size() - taken_);
    std::memcpy(buffer, text_.data() + taken_, count);
    taken_ += count;
    return count == 0 && failed_ ? -1 : static_cast<long>(count);
  }

 private:
  void fill() {
    char piece[65536];
    const long count = source_->read(piece, sizeof piece);
    if (count < 0) {
      failed_ = true;
      why_ = source_->why();
      return;
    }
    ended_ = count == 0;
    const bool good = ended_ ? converter_.finish(text_)
                             : converter_.convert({piece, static_cast<std::size_t>(count)}, text_);
    if (good) return;
    failed_ = true;
    why_ = fmt::format("The file holds bytes that are no text in the encoding {}. Check ENCODING=.",
                       encoding_);
  }

  std::unique_ptr<ByteSource> source_;
  Converter converter_;
  std::string encoding_;
  std::string text_;
  std::size_t taken_ = 0;
  bool ended_ = false;
  bool failed_ = false;
};

class ConvertingSink : public ByteSink {
 public:
  ConvertingSink(std::unique_ptr<ByteSink> sink, Converter converter, std::string encoding)
      : sink_(std::move(sink)), converter_(std::move(converter)), encoding_(std::move(encoding)) {}

  bool write(const char* bytes, std::size_t length) override {
    text_.clear();
    if (converter_.convert({bytes, length}, text_)) return pass_on();
    return refuse();
  }

  bool finish() override {
    text_.clear();
    if (!converter_.finish(text_)) return refuse();
    if (!pass_on()) return false;
    if (sink_->finish()) return true;
    why_ = sink_->why();
    return false;
  }

 private:
  bool pass_on() {
    if (sink_->write(text_.data(), text_.size())) return true;
    why_ = sink_->why();
    return false;
  }
  bool refuse() {
    why_ = fmt::format("A record holds text that the encoding {} cannot express. Check ENCODING=.",
                       encoding_);
    return false;
  }

  std::unique_ptr<ByteSink> sink_;
  Converter converter_;
  std::string encoding_;
  std::string text_;
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

std::unique_ptr<ByteSource> converting_source(std::unique_ptr<ByteSource> source,
                                              Converter converter, std::string encoding) {
  return std::make_unique<ConvertingSource>(std::move(source), std::move(converter),
                                            std::move(encoding));
}

std::unique_ptr<ByteSink> converting_sink(std::unique_ptr<ByteSink> sink, Converter converter,
                                          std::string encoding) {
  return std::make_unique<ConvertingSink>(std::move(sink), std::move(converter),
                                          std::move(encoding));
}

}  // namespace fileref::runtime
