// How a module image presents itself: descriptor, program-connect records, connect routine.
#pragma once

#include "method.h"
#include "types.h"

// The method entry. On success stores the method block through `ammcbp` and 0 through `rcp`;
// otherwise stores a failure code through `rcp`.
using MethodEntryFn = void(AMMCB** ammcbp, rctype* rcp);

struct WIPGMCON {
  long stacksize;
  long isa;
  long osa;
  char8 name;
  long flags;
  MethodEntryFn* ep;
  long imgtype;
  long support;
  long prodid;
  long cntlc;
};

constexpr unsigned long kModuleMagic = 0xB0BDEBED;

struct VIMODCON {
  char tag[24];  // "QEN_Image_Information=", zero-filled
  unsigned long modconmagic;
  unsigned long compat_flags;
  char portver[6];
  char portverl[20];
  char builddate[24];
  WIPGMCON** pgmcons;  // null-terminated
  const char* copyright;
  char releasenum[4];
};

struct SOPTION {
  tchar option[8];
  int optlen;
};

// Build metadata, zero-filled texts. `tkvercn1` copies the module's whole record.
struct TKVERCN {
  char product[16];
  char version[20];
  char builddate[24];
};

using ModuleVersionFn = void(TKVERCN* version);

// `mcn_main`: called once, right after the image is loaded and before anything else in it. The
// anchor record must stay where it is for as long as the image is loaded.
using ModuleConnectFn = VIMODCON*(ptr* gcbanchor, ptr pidb);
