// A file of 80-byte lines, removed at the end.
#pragma once

#include <unistd.h>

#include <fstream>
#include <string>

namespace bench {

class LineFile {
 public:
  explicit LineFile(long lines) : path_("/tmp/fileref-bench-" + std::to_string(getpid())) {
    std::ofstream file(path_);
    for (long i = 0; i < lines; ++i)
      file << std::string(80, static_cast<char>('a' + i % 26)) << '\n';
  }
  ~LineFile() { unlink(path_.c_str()); }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace bench
