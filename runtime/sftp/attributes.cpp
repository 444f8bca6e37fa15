#include "runtime/sftp/attributes.h"

namespace fileref::sftp {
namespace {

enum Flag : std::uint32_t {
  kHasSize = 0x1,
  kHasOwner = 0x2,
  kHasMode = 0x4,
  kHasTimes = 0x8,
  kHasPairs = 0x80000000,
};

constexpr std::uint32_t kTypeMask = 0170000;
constexpr std::uint32_t kPermissionMask = 07777;

}  // namespace

Kind Attributes::kind() const {
  switch (mode.value_or(0) & kTypeMask) {
    case 0:
      return Kind::kUnknown;
    case 0100000:
      return Kind::kFile;
    case 0040000:
      return Kind::kDirectory;
    case 0120000:
      return Kind::kLink;
    default:
      return Kind::kOther;
  }
}

Attributes read_attributes(Reader& reader) {
  Attributes attributes;
  const std::uint32_t flags = reader.number32();
  if (flags & kHasSize) attributes.size = reader.number64();
  if (flags & kHasOwner) reader.number64();
  if (flags & kHasMode) attributes.mode = reader.number32();
  if (flags & kHasTimes) {
    reader.number32();  // of the last access
    attributes.modification_time = reader.number32();
  }
  std::uint32_t pairs = flags & kHasPairs ? reader.number32() : 0;
  for (; pairs > 0 && reader.is_whole(); --pairs) {
    reader.text();
    reader.text();
  }
  return attributes;
}

void write_attributes(Writer& writer, const Attributes& attributes) {
  writer.number32((attributes.size ? kHasSize : 0U) | (attributes.mode ? kHasMode : 0U));
  if (attributes.size) writer.number64(*attributes.size);
  if (attributes.mode) writer.number32(*attributes.mode & kPermissionMask);
}

}  // namespace fileref::sftp
