// Names as the host keeps them: eight characters, blank-padded, in upper case.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "host/types.h"

namespace fileref::runtime {

using Name8 = std::array<char, 8>;

// Without trailing blanks.
inline std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

inline std::string upper_ascii(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

// The first eight bytes of `text`, upper case, blank-padded.
inline Name8 name8(std::string_view text) {
  Name8 name;
  name.fill(' ');
  const std::string upper = upper_ascii(text.substr(0, name.size()));
  upper.copy(name.data(), upper.size());
  return name;
}

inline Name8 name_at(const char* eight_characters) {
  return name8(std::string_view(eight_characters, 8));
}

inline std::string_view text_of(const Name8& name) {
  return trimmed({name.data(), name.size()});
}

}  // namespace fileref::runtime
