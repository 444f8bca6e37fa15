// UTF-8, one character at a time.
#pragma once

#include <cstddef>

namespace fileref::runtime {

// Decodes the character at `text`, at most `left` (1 or more) bytes. Returns its length in bytes,
// 0 for bytes that are no character; `character` is then left alone.
std::size_t decode_utf8(const char* text, std::size_t left, char32_t& character);
// Writes at most 4 bytes. Returns their number.
std::size_t encode_utf8(char32_t character, char* text);

}  // namespace fileref::runtime
