#include <algorithm>

#include "hostcm/src/wzstr.h"

namespace {

tuchar byte_or_blank(const tchar* text, int length, int i) {
  return static_cast<tuchar>(i < length ? text[i] : ' ');
}

}  // namespace

int wzstcom(const tchar* s1, int l1, const tchar* s2, int l2) {
  if (s1 == nullptr) l1 = 0;
  if (s2 == nullptr) l2 = 0;
  for (int i = 0; i < std::max(l1, l2); ++i) {
    const tuchar a = byte_or_blank(s1, l1, i);
    const tuchar b = byte_or_blank(s2, l2, i);
    if (a != b) return a < b ? -(i + 1) : i + 1;
  }
  return 0;
}
