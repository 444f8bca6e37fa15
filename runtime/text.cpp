#include "runtime/text.h"

#include <clocale>
#include <cwctype>
#include <stdexcept>

#include "runtime/converter.h"
#include "runtime/names.h"
#include "runtime/utf8.h"

namespace fileref::runtime {
namespace {

using CaseFunction = wint_t(wint_t, locale_t);

// A locale that knows the letter case of every character, whatever the process has set. It is never
// freed: a host may outlive whatever is destroyed at the end of the program.
locale_t unicode_locale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

void change_case_utf8(char* text, std::size_t length, CaseFunction* change) {
  const locale_t locale = unicode_locale();
  for (std::size_t i = 0; i < length;) {
    char32_t character = 0;
    const std::size_t width = decode_utf8(text + i, length - i, character);
    const char32_t changed = locale == nullptr ? character : change(character, locale);
    char other[4];
    if (changed != character && encode_utf8(changed, other) == width) {
      std::char_traits<char>::copy(text + i, other, width);
    }
    i += width == 0 ? 1 : width;
  }
}

}  // namespace

Text::Text(std::string session_encoding) : session_encoding_(std::move(session_encoding)) {
  const std::string upper = upper_ascii(session_encoding_);
  session_.multibyte = upper == "UTF-8" || upper == "UTF8";
  fill_tables();
}

void Text::fill_tables() {
  for (auto& table : tables_) {
    for (unsigned i = 0; i < table.size(); ++i) table[i] = static_cast<tuchar>(i);
  }
  if (multibyte()) return;
  for (unsigned i = 0; i < 256; ++i) {
    auto decoder = Converter::open(session_encoding_, "UTF-8");
    auto encoder = Converter::open("UTF-8", session_encoding_);
    if (!decoder || !encoder) {
      throw std::invalid_argument("the session encoding \"" + session_encoding_ +
                                  "\" is not known");
    }
    const char byte = static_cast<char>(i);
    std::string character;
    const bool whole = decoder->convert({&byte, 1}, character) && decoder->finish(character);
    if (i < 0x80 ? character != std::string_view(&byte, 1) : !whole && !character.empty()) {
      throw std::invalid_argument("the session encoding \"" + session_encoding_ +
                                  "\" is neither UTF-8 nor a single-byte one that holds ASCII");
    }
    if (!whole) continue;  // the byte stands for nothing
    for (const auto function : {kUpperCase, kLowerCase}) {
      std::string changed = character;
      change_case_utf8(changed.data(), changed.size(),
                       function == kUpperCase ? &towupper_l : &towlower_l);
      std::string back;
      if (encoder->convert(changed, back) && back.size() == 1) {
        tables_[function][i] = static_cast<tuchar>(back.front());
      }
    }
  }
}

void Text::to_upper(char* text, std::size_t length) const {
  if (multibyte()) return change_case_utf8(text, length, &towupper_l);
  for (std::size_t i = 0; i < length; ++i) {
    text[i] = static_cast<char>(table(kUpperCase)[static_cast<tuchar>(text[i])]);
  }
}

void Text::to_lower(char* text, std::size_t length) const {
  if (multibyte()) return change_case_utf8(text, length, &towlower_l);
  for (std::size_t i = 0; i < length; ++i) {
    text[i] = static_cast<char>(table(kLowerCase)[static_cast<tuchar>(text[i])]);
  }
}

u_cei Text::encoding(std::string_view name) {
  const std::string key = upper_ascii(trimmed(name));
  for (std::size_t i = 0; i < encodings_.size(); ++i) {
    if (encodings_[i] == key) return static_cast<u_cei>(i + 1);
  }
  // An empty name means the locale's encoding to the C library, and a name with "/" asks for more.
  if (key.empty() || key.find('/') != std::string::npos ||
      !Converter::open(key, session_encoding_) || !Converter::open(session_encoding_, key)) {
    return U_INVALID_CE;
  }
  encodings_.push_back(key);
  return static_cast<u_cei>(encodings_.size());
}

std::string Text::encoding_name(u_cei encoding) const {
  const auto index = static_cast<std::size_t>(encoding);
  return encoding <= 0 || index > encodings_.size() ? std::string() : encodings_[index - 1];
}

}  // namespace fileref::runtime
