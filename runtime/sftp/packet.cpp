#include "runtime/sftp/packet.h"

#include <algorithm>
#include <iterator>

namespace fileref::sftp {
namespace {

struct Named {
  Type type;
  const char* name;
};

constexpr Named kNames[] = {
    {Type::kInit, "INIT"},
    {Type::kVersion, "VERSION"},
    {Type::kOpen, "OPEN"},
    {Type::kClose, "CLOSE"},
    {Type::kRead, "READ"},
    {Type::kWrite, "WRITE"},
    {Type::kLinkAttributes, "LSTAT"},
    {Type::kHandleAttributes, "FSTAT"},
    {Type::kSetHandleAttributes, "FSETSTAT"},
    {Type::kOpenDirectory, "OPENDIR"},
    {Type::kReadDirectory, "READDIR"},
    {Type::kRemove, "REMOVE"},
    {Type::kMakeDirectory, "MKDIR"},
    {Type::kRealPath, "REALPATH"},
    {Type::kPathAttributes, "STAT"},
    {Type::kStatus, "STATUS"},
    {Type::kHandle, "HANDLE"},
    {Type::kData, "DATA"},
    {Type::kName, "NAME"},
    {Type::kAttributes, "ATTRS"},
    {Type::kExtended, "EXTENDED"},
    {Type::kExtendedReply, "EXTENDED_REPLY"},
};

constexpr std::size_t kLengthBytes = 4;

void store32(char* to, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) *to++ = static_cast<char>(value >> shift);
}

std::uint64_t load(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<std::uint8_t>(byte);
  return value;
}

}  // namespace

std::string name_of(Type type) {
  const auto* named = std::find_if(std::begin(kNames), std::end(kNames),
                                   [type](const Named& entry) { return entry.type == type; });
  return named != std::end(kNames) ? named->name
                                   : "packet " + std::to_string(static_cast<unsigned>(type));
}

Writer::Writer(std::string& buffer, Type type, std::uint32_t number)
    : buffer_(buffer), start_(buffer.size()) {
  buffer_.append(kLengthBytes, '\0');
  buffer_ += static_cast<char>(type);
  number32(number);
}

Writer::~Writer() {
  store32(buffer_.data() + start_,
          static_cast<std::uint32_t>(buffer_.size() - start_ - kLengthBytes));
}

Writer& Writer::number32(std::uint32_t value) {
  char bytes[4];
  store32(bytes, value);
  buffer_.append(bytes, sizeof bytes);
  return *this;
}

Writer& Writer::number64(std::uint64_t value) {
  return number32(static_cast<std::uint32_t>(value >> 32))
      .number32(static_cast<std::uint32_t>(value));
}

Writer& Writer::text(std::string_view bytes) {
  number32(static_cast<std::uint32_t>(bytes.size()));
  buffer_ += bytes;
  return *this;
}

char* Writer::room(std::size_t length) {
  number32(static_cast<std::uint32_t>(length));
  buffer_.resize(buffer_.size() + length);
  return buffer_.data() + buffer_.size() - length;
}

std::string_view Reader::take(std::size_t count) {
  whole_ = whole_ && count <= rest_.size();
  if (!whole_) return {};
  const std::string_view taken = rest_.substr(0, count);
  rest_.remove_prefix(count);
  return taken;
}

std::uint8_t Reader::byte() {
  return static_cast<std::uint8_t>(load(take(1)));
}

std::uint32_t Reader::number32() {
  return static_cast<std::uint32_t>(load(take(4)));
}

std::uint64_t Reader::number64() {
  return load(take(8));
}

std::string_view Reader::text() {
  return take(number32());
}

}  // namespace fileref::sftp
