#include "UNX/src/himodcn.h"
#include "dsup/src/services.h"
#include "dsup/src/vvipgmcn.h"

ptr* v_global_gcb_anchor = nullptr;
ptr v_global_pidb_anchor = nullptr;
TKHndlp Exported_TKHandle = nullptr;

VIMODCON* mcn_main(ptr* gcbanchor, ptr pidb) {
  v_global_gcb_anchor = gcbanchor;
  v_global_pidb_anchor = pidb;
  himodcn();
  Exported_TKHandle = static_cast<TKHndlp>(gcbanchor[kAnchorToolkit]);
  return &vi_mcn;
}
