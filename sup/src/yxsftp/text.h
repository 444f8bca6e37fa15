// Texts as the records keep them (a pointer and a length beside it) made handy.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>

#include "dsup/src/wztxxlt.h"
#include "host/control.h"
#include "hostcm/src/wzstr.h"
#include "sup/src/yxsftp/memory.h"

inline const char* chars(const void* text) {
  return static_cast<const char*>(text);
}

inline std::string_view view(const void* text, int length) {
  return {chars(text), static_cast<std::size_t>(std::max(length, 0))};
}

inline std::string_view view(const tchar* terminated) {
  return view(terminated, wzstlen(terminated));
}

inline bool contains(std::string_view text, std::string_view phrase) {
  return wzstndx(text.data(), static_cast<int>(text.size()), phrase.data(),
                 static_cast<int>(phrase.size())) >= 0;
}

// A terminated copy from the request pool of `reb`; null when there is no memory.
inline tchar* copy_text(rebid reb, std::string_view text) {
  auto* copy = static_cast<tchar*>(new_buffer(reb, static_cast<long>(text.size()) + 1));
  if (copy != nullptr && !text.empty()) std::memcpy(copy, text.data(), text.size());
  return copy;
}

// `wzstcat` of whole texts, without separators.
template <class... Text>
int join(tchar* dest, int dlen, Text... texts) {
  constexpr auto pair = [](std::string_view text) {
    return std::make_tuple(text.data(), static_cast<int>(text.size()));
  };
  return std::apply(
      [&](auto... pairs) {
        return wzstcat(dest, dlen, kNoSeparator, static_cast<int>(sizeof...(Text)), pairs...);
      },
      std::tuple_cat(pair(texts)...));
}

// Joins into `dest` of `capacity` bytes, terminated. False, with nothing written, when the texts do
// not fit as a whole.
template <class... Text>
bool join_whole(tchar* dest, int capacity, int* length, Text... texts) {
  const std::size_t total = (std::string_view(texts).size() + ...);
  if (total >= static_cast<std::size_t>(capacity)) return false;
  *length = join(dest, -capacity, texts...);
  return true;
}

constexpr int kNameLength = sizeof(char8);

inline bool same_name(const char* a, const char* b) {
  return std::memcmp(a, b, kNameLength) == 0;
}
inline void copy_name(char* name, const char* source) {
  std::memcpy(name, source, kNameLength);
}
inline void blank_name(char* name) {
  copy_name(name, _B_ten);
}
inline bool blank_first(const char* name) {
  return name[0] == ' ';
}

inline void upper_name(char* name, const char* source) {
  wztxxlt(kUpperCase, source, name, kNameLength);
}
