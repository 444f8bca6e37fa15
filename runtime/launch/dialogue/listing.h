// What the server says about a name, read from the client's long numeric listing of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/file_status.h"

namespace fileref::runtime {

// A line of the client's long listing: mode, links, owner, group, size, date, name.
struct LongLine {
  FileStatus status = {};      // without the time: dates are shown without a year, or the minutes
  std::string_view path = {};  // as it was asked for, and as the client shows it
};

// Returns nothing when the line has not that form, or the path is empty.
std::optional<LongLine> parse_long_line(std::string_view line);

std::size_t slashes(std::string_view path);

struct RemoteFile {
  enum class Kind {
    kUnknown,  // nothing was listed: not there, or not to be seen
    kFile,
    kDirectory,
    kOther,  // FIFO, socket, device
  };

  Kind kind = Kind::kUnknown;
  std::optional<std::uint64_t> size = {};  // of a file
  std::optional<std::uint32_t> mode = {};  // permissions
};

RemoteFile remote_file(const LongLine& line);

// Reads the reply to the one line `ls -ln NAME`, where NAME stands for `name` as it was asked for.
// Asked about a directory, the client lists what is in it.
RemoteFile read_listing(const Reply& reply, std::string_view name);

}  // namespace fileref::runtime
