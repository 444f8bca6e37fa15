#include "runtime/utf8.h"

namespace fileref::runtime {
namespace {

std::size_t length_from(unsigned char first) {
  if (first < 0x80) return 1;
  if (first < 0xC2) return 0;
  if (first < 0xE0) return 2;
  if (first < 0xF0) return 3;
  return first < 0xF5 ? 4 : 0;
}

std::size_t length_of(char32_t character) {
  if (character < 0x80) return 1;
  if (character < 0x800) return 2;
  return character < 0x10000 ? 3 : 4;
}

bool is_character(char32_t value, std::size_t length) {
  const bool surrogate = value >= 0xD800 && value < 0xE000;
  return !surrogate && value < 0x110000 && length_of(value) == length;
}

}  // namespace

std::size_t decode_utf8(const char* text, std::size_t left, char32_t& character) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = length_from(first);
  if (length == 0 || length > left) return 0;
  char32_t value = length == 1 ? first : first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0u) != 0x80u) return 0;
    value = (value << 6) | (byte & 0x3Fu);
  }
  if (!is_character(value, length)) return 0;
  character = value;
  return length;
}

std::size_t encode_utf8(char32_t character, char* text) {
  const std::size_t length = length_of(character);
  if (length == 1) {
    text[0] = static_cast<char>(character);
    return 1;
  }
  for (std::size_t i = length - 1; i > 0; --i, character >>= 6) {
    text[i] = static_cast<char>(0x80u | (character & 0x3Fu));
  }
  text[0] = static_cast<char>((0xF00u >> length) | character);
  return length;
}

}  // namespace fileref::runtime
