// The private directory that holds this process's temporary files.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace fileref::runtime {

// Made with mode 0700 and an unguessable name, kept locked while it is in use, and removed with
// everything in it when it goes, but for data that was kept there unsent; not by a process that was
// forked off the one that made it.
class TempDirectory {
 public:
  // Makes a directory below `parent` and removes the directories that ended processes of this user
  // left there; data in them that may not have arrived is kept in `unsent_directory`, as
  // `keep_unsent` does. Throws std::system_error when none can be made.
  explicit TempDirectory(const std::string& parent, const std::string& unsent_directory = {});
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::string& path() const { return path_; }
  // The path of a file that does not exist, with a name nobody can guess.
  std::string fresh_path() const;
  // Where the data of ended processes is kept that was found.
  const std::vector<std::string>& found_unsent() const { return found_unsent_; }

 private:
  void sweep(const std::string& parent, const std::string& unsent_directory);

  pid_t owner_;
  std::vector<std::string> found_unsent_;
  std::string path_;
  int lock_ = -1;  // the lock file, held locked
};

// `count` random bytes as hexadecimal digits.
std::string random_name(int count);

}  // namespace fileref::runtime
