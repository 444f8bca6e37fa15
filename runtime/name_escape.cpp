#include "runtime/name_escape.h"

#include <algorithm>
#include <array>

namespace fileref::runtime {
namespace {

constexpr char kBlank = '\x1f';   // stands for a blank
constexpr char kEscape = '\x10';  // the next byte, a digit, says which of these it stands for
constexpr std::string_view kEscaped("\x10\x1f\r'\n", 5);
constexpr std::size_t kMarks = 2;  // the first of them
constexpr char kNothing = '9';     // or none: it keeps two letters apart

// Every other text that has a meaning holds a blank.
constexpr std::array<std::string_view, 2> kMisread{"sftp>", "canonicalise"};

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

bool begins_misread(std::string_view rest) {
  return std::any_of(kMisread.begin(), kMisread.end(), [&](std::string_view text) {
    return rest.size() >= text.size() && std::equal(text.begin(), text.end(), rest.begin(),
                                                    [](char a, char b) { return a == lower(b); });
  });
}

// The byte, or its escape when it is one of `escaped`.
void append(std::string* text, char c, std::string_view escaped) {
  const std::size_t which = escaped.find(c);
  if (which == std::string_view::npos) {
    *text += c;
  } else {
    *text += {kEscape, static_cast<char>('0' + which)};
  }
}

}  // namespace

std::string escape_name(std::string_view name) {
  std::string escaped;
  escaped.reserve(name.size());
  for (; !name.empty(); name.remove_prefix(1)) {
    append(&escaped, name.front(), kEscaped);
    if (escaped.back() == ' ') escaped.back() = kBlank;
    if (begins_misread(name)) escaped += {kEscape, kNothing};
  }
  return escaped;
}

std::string protect_marks(std::string_view text) {
  std::string safe;
  for (const char c : text) append(&safe, c, kEscaped.substr(0, kMarks));
  return safe;
}

std::string unescape_name(std::string_view escaped) {
  if (escaped.find(kBlank) == escaped.npos && escaped.find(kEscape) == escaped.npos) {
    return std::string(escaped);
  }
  std::string name;
  name.reserve(escaped.size());
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    const char digit = i + 1 < escaped.size() ? escaped[i + 1] : '\0';
    const auto which = static_cast<std::size_t>(digit - '0');
    if (escaped[i] == kBlank) {
      name += ' ';
    } else if (escaped[i] != kEscape || (digit != kNothing && which >= kEscaped.size())) {
      name += escaped[i];
    } else {
      if (digit != kNothing) name += kEscaped[which];
      ++i;
    }
  }
  return name;
}

}  // namespace fileref::runtime
