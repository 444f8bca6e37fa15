#include "runtime/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "runtime/utf8.h"

namespace fileref::runtime {
namespace {

struct Range {
  char32_t first, last;
};

constexpr std::array kNotShown = {
    Range{0x00, 0x1F},       Range{0x7F, 0x9F},      // control characters
    Range{0x061C, 0x061C},   Range{0x200E, 0x200F},  // marks and overrides of the writing direction
    Range{0x202A, 0x202E},   Range{0x2066, 0x206F},
    Range{0x2028, 0x2029},  // line and paragraph separator
    Range{0xFEFF, 0xFEFF},   Range{0xFFF9, 0xFFFB},
    Range{0xE0000, 0xE007F},  // tags, which no font shows
};

bool is_shown(char32_t character) {
  return std::none_of(kNotShown.begin(), kNotShown.end(), [character](const Range& range) {
    return range.first <= character && character <= range.last;
  });
}

// `hide` appends what stands for bytes that are not shown.
template <class Hide>
std::string with_hidden(std::string_view text, Hide hide) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    char32_t character = 0;
    const std::size_t length = decode_utf8(text.data(), text.size(), character);
    const std::string_view bytes = text.substr(0, std::max<std::size_t>(length, 1));
    length > 0 && is_shown(character) ? void(shown += bytes) : hide(&shown, bytes);
    text.remove_prefix(bytes.size());
  }
  return shown;
}

}  // namespace

std::string printable(std::string_view text) {
  return with_hidden(text, [](std::string* shown, std::string_view bytes) {
    for (const char c : bytes) {
      fmt::format_to(std::back_inserter(*shown), "\\x{:02x}", static_cast<unsigned char>(c));
    }
  });
}

std::string printable_name(std::string_view name) {
  return with_hidden(name, [](std::string* shown, std::string_view) { *shown += '?'; });
}

}  // namespace fileref::runtime
