// What a server says of a file. Any of it may be missing.
#pragma once

#include <cstdint>
#include <optional>

#include "runtime/sftp/packet.h"

namespace fileref::sftp {

enum class Kind {
  kUnknown,  // the server does not say
  kFile,
  kDirectory,
  kLink,   // symbolic
  kOther,  // FIFO, socket, device
};

struct Attributes {
  std::optional<std::uint64_t> size = {};               // in bytes
  std::optional<std::uint32_t> mode = {};               // with the file type, as in <sys/stat.h>
  std::optional<std::uint32_t> modification_time = {};  // seconds since 1970

  Kind kind() const;
};

// Owner and extended pairs are passed over.
Attributes read_attributes(Reader& reader);
// Only size and permissions can be asked for.
void write_attributes(Writer& writer, const Attributes& attributes);

}  // namespace fileref::sftp
