#pragma once

#include "host/control.h"
#include "host/types.h"

// Translates `len` bytes by one of the session's character functions (TranslateFunction). Source
// and destination are the same buffer or do not overlap. kBadTranslation for an unknown function,
// with nothing touched.
wrcode wztxxlt(int function, const tchar* source_string, tchar* dest_string, int len);
