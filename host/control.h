// The host's global control block and the records it leads to.
#pragma once

#include "types.h"
#include "variables.h"

// What the module needs to know of the session encoding.
struct WZ_SESSION {
  int multibyte;  // not 0: texts are translated by the host's encoding-aware services
};

// Character functions, and the tables by which a single-byte session performs them.
enum TranslateFunction : int {
  kConvertIn = 0,
  kConvertOut = 1,
  kUpperCase = 2,
  kLowerCase = 3,
  kFifthTable = 4,
  kTranslateFunctions = 5,
};

struct YXGCBSTR {
  int fileassignlocal;  // not 0: assignments are local to a session, look methods up by `yxamscp`
};

struct YAKGCBSTR {
  WYH2CV* yyh2cv;
  YXGCBSTR* yxgcb;
  WZ_SESSION* session;                           // null: single-byte
  const tuchar* translate[kTranslateFunctions];  // 256 bytes each, never null
};
