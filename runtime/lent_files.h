// Files of others whose bytes are sent in place of temporary files of our own.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "runtime/file_range.h"

namespace fileref::runtime {

// By the paths of the temporary files that they stand for, where no file is meanwhile.
class LentFiles {
 public:
  void add(const std::string& path, FileRange bytes) { files_.insert_or_assign(path, bytes); }
  bool contains(const std::string& path) const { return files_.contains(path); }
  std::optional<FileRange> find(const std::string& path) const {
    const auto found = files_.find(path);
    return found == files_.end() ? std::nullopt : std::optional(found->second);
  }
  // For whoever has to keep what stands for `path`, and will not send it: where it is; empty when
  // there is nothing, or it is not there any more.
  std::string keep(const std::string& path) {
    const std::optional<FileRange> bytes = find(path);
    std::string place = bytes ? bytes->path() : "";
    if (!place.empty()) forget(path);
    return place;
  }
  // Makes the file at `path` a copy of what stands for it. True as well where nothing does; after a
  // failure everything is as before.
  bool copy(const std::string& path) {
    const auto found = files_.find(path);
    if (found == files_.end()) return true;
    if (!copy_range(found->second, path)) return false;
    files_.erase(found);
    return true;
  }
  void forget(const std::string& path) { files_.erase(path); }

 private:
  std::map<std::string, FileRange> files_;
};

}  // namespace fileref::runtime
