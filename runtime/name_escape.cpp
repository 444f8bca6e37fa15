#include "runtime/name_escape.h"

#include <algorithm>
#include <array>

namespace fileref::runtime {
namespace {

constexpr char kBlank = '\x1f';   // stands for a blank
constexpr char kEscape = '\x10';  // the next byte has its bit 6 turned over

// Every other text that has a meaning holds a blank.
constexpr std::array<std::string_view, 2> kMisread{"sftp>", "canonicalise"};

constexpr char turned(char c) {
  return static_cast<char>(c ^ 0x40);
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

bool begins_misread(std::string_view rest) {
  return std::any_of(kMisread.begin(), kMisread.end(), [&](std::string_view text) {
    return rest.size() >= text.size() && std::equal(text.begin(), text.end(), rest.begin(),
                                                    [](char a, char b) { return a == lower(b); });
  });
}

bool must_be_turned(std::string_view rest) {
  const char c = rest.front();
  return c == kBlank || c == kEscape || c == '\r' || begins_misread(rest);
}

}  // namespace

std::string escape_name(std::string_view name) {
  std::string escaped;
  escaped.reserve(name.size());
  for (; !name.empty(); name.remove_prefix(1)) {
    if (name.front() == ' ') {
      escaped += kBlank;
    } else if (must_be_turned(name)) {
      escaped += kEscape;
      escaped += turned(name.front());
    } else {
      escaped += name.front();
    }
  }
  return escaped;
}

std::string protect_name(std::string_view name) {
  return unescape_name(name) == name ? std::string(name) : escape_name(name);
}

std::string escape_byte(char c) {
  return {kEscape, turned(c)};
}

std::string unescape_name(std::string_view escaped) {
  std::string name;
  name.reserve(escaped.size());
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == kBlank) {
      name += ' ';
    } else if (escaped[i] == kEscape && i + 1 < escaped.size()) {
      name += turned(escaped[++i]);
    } else {
      name += escaped[i];
    }
  }
  return name;
}

}  // namespace fileref::runtime
