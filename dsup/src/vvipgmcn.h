// What the module image shows to whoever loads it.
#pragma once

#include "host/module.h"

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

EXPORTED extern VIMODCON vi_mcn;
EXPORTED extern WIPGMCON* mcn_pcns[2];
EXPORTED extern WIPGMCON pcn_QENXBAMS;
EXPORTED extern SOPTION SUPLIB_OPTIONS[1];

EXPORTED VIMODCON* mcn_main(ptr* gcbanchor, ptr pidb);
EXPORTED void qenxbams(AMMCB** ammcbp, rctype* rcp);
EXPORTED void tkvercn1(TKVERCN* version);
EXPORTED rctype yxsok();

}  // extern "C"
