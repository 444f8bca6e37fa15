// What is known of a remote file without fetching it.
#pragma once

#include <cstdint>
#include <optional>

namespace fileref {

/// What a server says of a file. What is not known for certain is not set: through the client
/// programs that is every time, since they show dates by the day or the minute, and of what
/// Host::stat asks about whether it is a link, and size and mode of a directory.
struct FileStatus {
  enum class Kind {
    kUnknown,
    kFile,
    kDirectory,
    kLink,   ///< symbolic; of Host::stat only one that leads nowhere
    kOther,  ///< FIFO, socket, device
  };

  Kind kind = Kind::kUnknown;
  /// Whether the name is that of a symbolic link; the rest is then about what Host::stat found
  /// behind it, and in a listing about the link itself.
  std::optional<bool> is_link = {};
  std::optional<std::uint64_t> size = {};     ///< in bytes
  std::optional<std::int64_t> modified = {};  ///< in seconds since 1970, UTC
  std::optional<unsigned> mode = {};          ///< permissions: 07777 at the most
};

}  // namespace fileref
