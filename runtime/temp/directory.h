// The private directory that holds this process's temporary files.
#pragma once

#include <sys/types.h>

#include <string>

namespace fileref::runtime {

// Made with mode 0700 and an unguessable name, kept locked while it is in use, and removed with
// everything in it when it goes; not by a process that was forked off the one that made it.
class TempDirectory {
 public:
  // Makes a directory below `parent` and removes the directories that ended processes left there.
  // Throws std::system_error when none can be made.
  explicit TempDirectory(const std::string& parent);
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::string& path() const { return path_; }
  // The path of a file that does not exist, with a name nobody can guess.
  std::string fresh_path() const;

 private:
  pid_t owner_;
  std::string path_;
  int lock_ = -1;  // the lock file, held locked
};

// `count` random bytes as hexadecimal digits.
std::string random_name(int count);

}  // namespace fileref::runtime
