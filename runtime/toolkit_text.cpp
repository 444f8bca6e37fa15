#include "runtime/toolkit_text.h"

#include "runtime/utf8.h"

namespace fileref::runtime {
namespace {
constexpr char32_t kNoText = 0xDC00;
}

std::u32string to_toolkit_text(std::string_view text) {
  std::u32string characters;
  characters.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t character = kNoText + static_cast<unsigned char>(text[i]);
    const std::size_t length = decode_utf8(text.data() + i, text.size() - i, character);
    characters += character;
    i += length == 0 ? 1 : length;
  }
  return characters;
}

std::string from_toolkit_text(const TKChar* text) {
  std::string bytes;
  for (; *text != 0; ++text) {
    char piece[4];
    if (*text >= kNoText && *text < kNoText + 256) {
      bytes += static_cast<char>(*text - kNoText);
    } else {
      bytes.append(piece, encode_utf8(*text, piece));
    }
  }
  return bytes;
}

}  // namespace fileref::runtime
