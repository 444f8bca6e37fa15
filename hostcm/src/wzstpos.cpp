#include "hostcm/src/wzstr.h"

int wzstpos(const tchar* str, int len, tuchar c) {
  if (str == nullptr) return -1;
  for (int i = 0; i < len; ++i) {
    if (static_cast<tuchar>(str[i]) == c) return i;
  }
  return -1;
}
