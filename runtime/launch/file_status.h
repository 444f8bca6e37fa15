// What is known of a remote file without fetching it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

struct FileStatus {
  static constexpr char kUnknownType = '?';

  char type = kUnknownType;                // as in a long listing: '-', 'd', 'l', 'p' for all else
  std::optional<bool> is_link = {};        // whether the name is that of a symbolic link
  std::optional<std::uint64_t> size = {};  // in bytes
  std::optional<std::uint32_t> mode = {};  // permissions, 07777 at the most
  std::optional<std::uint32_t> modified = {};  // seconds since 1970
};

// The answer to `stat` and `lstat`, and what it says; nothing when there is no such file.
Answer answer_status(const FileStatus& status);
Answer answer_missing(std::string explanation);
std::optional<FileStatus> read_status(std::string_view answer);

}  // namespace fileref::runtime
