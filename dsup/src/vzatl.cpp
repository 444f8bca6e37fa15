#include "dsup/src/vzatl.h"

int vzatl(int c, const tchar* str, long len, long /*maxlen*/) {
  for (long i = 0; i < len; ++i) {
    if (static_cast<tuchar>(str[i]) != static_cast<tuchar>(c)) return 0;
  }
  return 1;
}
