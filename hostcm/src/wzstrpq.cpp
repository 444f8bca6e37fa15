#include "hostcm/src/wzstr.h"

int wzstrpq(tchar* src, int slen) {
  if (slen <= 0) return 0;
  const tchar quote = src[0];
  const int closing = slen - 1;
  src[closing] = '\0';
  int length = 0;
  for (int i = 1; i < closing; ++i) {
    src[length++] = src[i];
    if (src[i] == quote && i + 1 < closing && src[i + 1] == quote) ++i;
  }
  src[length] = '\0';
  return length;
}
