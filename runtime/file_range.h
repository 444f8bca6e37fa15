// A part of a local file that is open, for whoever sends its bytes.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "runtime/fd.h"

namespace fileref::runtime {

// Copies share the open file, and each reads for itself: the descriptor's own position stays.
class FileRange {
 public:
  // From offset `begin` to `end`, in bytes.
  FileRange(Fd file, off_t begin, off_t end)
      : file_(std::make_shared<Fd>(std::move(file))), begin_(begin), end_(end), at_(begin) {}

  std::uint64_t size() const { return static_cast<std::uint64_t>(end_ - begin_); }
  off_t end() const { return end_; }
  // A path of the file, if it has one and all of the bytes are still there; else empty.
  std::string path() const;
  // Of the file as it is now; nothing when that cannot be told.
  std::optional<struct stat> status() const;

  // Reads at most `capacity` of the bytes that come next; 0 at the end, -1 with errno when they
  // cannot be read: ENODATA where the file has become shorter.
  long read(char* buffer, std::size_t capacity);
  void rewind() { at_ = begin_; }

 private:
  std::shared_ptr<Fd> file_;
  off_t begin_, end_, at_;
};

// A whole file. Nothing, with errno, when it cannot be opened or is not a regular one. Links are
// not followed.
std::optional<FileRange> open_range(const std::string& path);

// What stands behind the position of a descriptor. Nothing when it is not of a regular file that
// has a name, and whose stated size holds.
std::optional<FileRange> rest_of_file(int file);

// Into a new file for its owner alone. False, with nothing left of it, when that fails.
bool copy_range(FileRange range, const std::string& path);

}  // namespace fileref::runtime
