// Packets of the file transfer protocol, version 3: what they are called and how they are written
// and read. Integers are big-endian; a text is a length of four bytes and that many bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace fileref::sftp {

enum class Type : std::uint8_t {
  kInit = 1,
  kVersion = 2,
  kOpen = 3,
  kClose = 4,
  kRead = 5,
  kWrite = 6,
  kLinkAttributes = 7,
  kHandleAttributes = 8,
  kSetHandleAttributes = 10,
  kOpenDirectory = 11,
  kReadDirectory = 12,
  kRemove = 13,
  kMakeDirectory = 14,
  kRealPath = 16,
  kPathAttributes = 17,
  kStatus = 101,
  kHandle = 102,
  kData = 103,
  kName = 104,
  kAttributes = 105,
  kExtended = 200,
  kExtendedReply = 201,
};

// The protocol's own name of a type; "packet N" for another.
std::string name_of(Type type);

// Of a STATUS.
enum Code : std::uint32_t {
  kOk = 0,
  kEndOfFile = 1,
  kNoSuchFile = 2,
  kPermissionDenied = 3,
  kFailure = 4,
  kBadMessage = 5,
  kNoConnection = 6,
  kConnectionLost = 7,
  kUnsupported = 8,
};

// Appends one packet to a buffer. Its length is right once the writer is gone.
class Writer {
 public:
  // The number is the request's id, or a greeting's version.
  Writer(std::string& buffer, Type type, std::uint32_t number);
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  Writer& number32(std::uint32_t value);
  Writer& number64(std::uint64_t value);
  Writer& text(std::string_view bytes);
  // A text of `length` bytes, to be filled in. Valid until the next call.
  char* room(std::size_t length);

 private:
  std::string& buffer_;
  std::size_t start_;
};

// Takes the fields of a packet one by one. Whatever was sent, nothing is read behind its end: a
// field that is not there whole is 0 or empty, and so is every later one.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  std::uint8_t byte();
  std::uint32_t number32();
  std::uint64_t number64();
  std::string_view text();

  // Every field so far was there.
  bool is_whole() const { return whole_; }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view take(std::size_t count);

  std::string_view rest_;
  bool whole_ = true;
};

}  // namespace fileref::sftp
