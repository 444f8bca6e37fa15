#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "hostcm/src/wzstr.h"

int wzstcat(tchar* dest, int dlen, int sep, int nstr, ...) {
  int room = dlen >= 0 ? dlen : -(dlen + 1);
  tchar* out = dest;
  std::va_list pairs;
  va_start(pairs, nstr);
  for (int i = 0; i < nstr && room > 0; ++i) {
    const auto* text = va_arg(pairs, const tchar*);
    int length = va_arg(pairs, int);
    if (sep >= 0 && i > 0) {
      *out++ = static_cast<tchar>(sep);
      --room;
    }
    length = text == nullptr ? 0 : std::min(length, room);
    if (length <= 0) continue;
    std::memmove(out, text, static_cast<std::size_t>(length));
    out += length;
    room -= length;
  }
  va_end(pairs);
  if (dlen < 0) {
    *out = '\0';
  } else if (room > 0) {
    std::memset(out, ' ', static_cast<std::size_t>(room));
  }
  return static_cast<int>(out - dest);
}
