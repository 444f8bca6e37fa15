#include <cstring>

#include "hostcm/src/wzstr.h"

int wzstlen(const tchar* str) {
  return str == nullptr ? 0 : static_cast<int>(std::strlen(str));
}
