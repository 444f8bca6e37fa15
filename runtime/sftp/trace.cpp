#include "runtime/sftp/trace.h"

#include <cstdio>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/packet.h"

namespace fileref::sftp {
namespace {

std::string shown(std::string_view name) {
  std::string text = "\"";
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    char hexadecimal[8];
    std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", byte);
    text += byte < 0x20 || byte == 0x7f ? std::string(hexadecimal) : std::string(1, c);
  }
  return text + '"';
}

std::string shown_handle(std::string_view handle) {
  std::string text;
  for (const char c : handle.substr(0, 8)) {
    char hexadecimal[4];
    std::snprintf(hexadecimal, sizeof hexadecimal, "%02x", static_cast<unsigned char>(c));
    text += hexadecimal;
  }
  return '<' + text + '>';
}

std::string shown_attributes(Reader& body) {
  const Attributes attributes = read_attributes(body);
  std::string text = attributes.size ? "size " + std::to_string(*attributes.size) : "no size";
  char mode[16];
  std::snprintf(mode, sizeof mode, " mode %o", attributes.mode.value_or(0));
  return attributes.mode ? text + mode : text;
}

std::string subject_of(Type type, Reader& body) {
  switch (type) {
    case Type::kOpen:
    case Type::kLinkAttributes:
    case Type::kPathAttributes:
    case Type::kOpenDirectory:
    case Type::kRemove:
    case Type::kMakeDirectory:
    case Type::kRealPath:
      return shown(body.text());
    case Type::kExtended: {
      const std::string name(body.text());
      if (name.find("rename") == name.npos) return name;
      const std::string from = shown(body.text());
      return name + ' ' + from + ' ' + shown(body.text());
    }
    case Type::kClose:
    case Type::kHandleAttributes:
    case Type::kSetHandleAttributes:
    case Type::kReadDirectory:
    case Type::kHandle:
      return shown_handle(body.text());
    case Type::kRead: {
      const std::string handle = shown_handle(body.text()),
                        offset = std::to_string(body.number64());
      return handle + ' ' + offset + " +" + std::to_string(body.number32());
    }
    case Type::kWrite: {
      const std::string handle = shown_handle(body.text()),
                        offset = std::to_string(body.number64());
      return handle + ' ' + offset + " +" + std::to_string(body.number32());
    }
    case Type::kStatus: {
      const std::string code = std::to_string(body.number32());
      return code + ' ' + shown(body.text());
    }
    case Type::kData:
      return std::to_string(body.number32()) + " bytes";
    case Type::kName:
      return std::to_string(body.number32()) + " names";
    case Type::kAttributes:
      return shown_attributes(body);
    default:
      return {};
  }
}

}  // namespace

std::string describe(std::string_view packet) {
  Reader body(packet);
  body.number32();  // the length
  const auto type = static_cast<Type>(body.byte());
  const std::string id = std::to_string(body.number32()), name = name_of(type);
  const std::string subject = subject_of(type, body);
  return id + ' ' + name + (subject.empty() ? "" : ' ' + subject);
}

}  // namespace fileref::sftp
