// A local file while it is not whole: beside the asked one, under a name of its own.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <utility>

#include "runtime/fd.h"

namespace fileref::runtime::direct {

// A name in the same directory, local or remote, that nobody has and that says whose it is:
// ".NAME.fileref-RANDOM", of no more than 255 bytes.
std::string name_beside(const std::string& path);

class PartFile {
 public:
  explicit PartFile(std::string path) : path_(std::move(path)), part_(path_ + ".part") {}
  PartFile(std::string path, std::string part) : path_(std::move(path)), part_(std::move(part)) {}
  // Removes what was not put in its place, but not in a process that was forked from the owner.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  bool is_open() const { return static_cast<bool>(file_); }
  // Each is false after a failure, which `why` then tells.
  bool create();
  bool write(std::string_view bytes);
  // Begins again with nothing.
  bool clear();
  // Takes the place of the asked file.
  bool put_in_place();

  const std::string& why() const { return why_; }

 private:
  bool fail(const char* what, int error);

  std::string path_, part_;
  Fd file_;
  pid_t owner_ = 0;
  std::string why_;
};

}  // namespace fileref::runtime::direct
