#include "dsup/src/wztxxlt.h"

#include <cstring>

#include "dsup/src/services.h"

namespace {

void copy(const tchar* source, tchar* dest, int len) {
  if (source != dest) std::memcpy(dest, source, static_cast<std::size_t>(len));
}

void translate_multibyte(int function, const tchar* source, tchar* dest, int len) {
  switch (function) {
    case kConvertIn:
      wzsxcch(source, len, dest, len, 1);
      return;
    case kConvertOut:
      wzsxrch(source, len, dest, len, 1);
      return;
    case kUpperCase:
      copy(source, dest, len);
      wzstrup(dest, len);
      return;
    default:
      copy(source, dest, len);
      wzstrlo(dest, len);
  }
}

}  // namespace

wrcode wztxxlt(int function, const tchar* source_string, tchar* dest_string, int len) {
  if (function < 0 || function >= kTranslateFunctions) return kBadTranslation;
  if (len <= 0) return kSuccess;
  const YAKGCBSTR* global = global_control_block();
  const bool multibyte = global->session != nullptr && global->session->multibyte != 0;
  if (multibyte && function != kFifthTable) {
    translate_multibyte(function, source_string, dest_string, len);
    return kSuccess;
  }
  const tuchar* table = global->translate[function];
  for (int i = 0; i < len; ++i) {
    dest_string[i] = static_cast<tchar>(table[static_cast<tuchar>(source_string[i])]);
  }
  return kSuccess;
}
