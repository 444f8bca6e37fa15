#include <cstring>

#include "hostcm/src/wzstr.h"

int wzstndx(const tchar* str, int slen, const tchar* tok, int tlen) {
  if (tlen == 0 || tok == nullptr) return 0;
  if (tlen < 0) tlen = wzstlen(tok);
  if (str == nullptr || slen <= 0 || slen < tlen) return -1;
  if (tlen == 0) return 0;
  const auto rest = static_cast<std::size_t>(tlen - 1);
  for (int i = 0; i <= slen - tlen; ++i) {
    if (str[i] == tok[0] && std::memcmp(str + i + 1, tok + 1, rest) == 0) return i;
  }
  return -1;
}
