// The method entry and the method table.
#include "dsup/src/vvipgmcn.h"
#include "host/options.h"
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/flcb.h"
#include "sup/src/yxsftp/memory.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

namespace {

constexpr AMENT kMethodTable = {
    .amasgn = {0, yxsasgn},
    .amdasgn = {0, yxsdasg},
    .amexstl = {0, yxsexl},
    .amexstp = {0, yxsexp},
    .ampname = {0, yxsnsup},
    .amname = {0, yxsnsup},
    .amnext = {0, yxsnsup},
    .amvalid = {0, yxsval},
    .aminfo = {0, yxsinfo},
    .aminfsy = {0, yxsins},
    .aminfsr = {0, yxsinf},
    .amopen = {0, yxsopn},
    .amnote = {0, yxsnsup},
    .ampoint = {0, yxsnsup},
    .ampos2b = {0, yxsnsup},
    .amb2pos = {0, yxsnsup},
    .ampos2r = {0, yxsnsup},
    .amr2pos = {0, yxsnsup},
    .amread = {0, yxsread},
    .amwrite = {0, yxswrit},
    .amflush = {0, yxsnsup},
    .amclose = {0, yxsclos},
    .amdclos = {0, yxsdcls},
    .amdinfs = {0, yxsdins},
    .amdinfr = {0, yxsdinf},
    .amdnext = {0, yxsdnxt},
    .amdopen = {0, yxsdopn},
    .ammclos = {0, yxsmcls},
    .ammexst = {0, yxsmexp},
    .ammopen = {0, yxsmopn},
    .amparse = {0, yxspars},
    .amasgnl = {0, yxsnsup},
    .amdelet = {0, yxsnsup},
    .amhb2pb = {0, yxsnsup},
    .ampb2hb = {0, yxsnsup},
    .amamvec = {0, yxsamvc},
    .amhbfr = {0, yxshbfr},
    .ammkdir = {0, yxsnsup},
    .amrterm = {0, nullptr},
    .expan = {},
    .amhbf2 = {0, nullptr},
};

AMMCB* new_method() {
  auto* ammcb = new_record<AMMCB>();
  if (ammcb == nullptr) return nullptr;
  std::memcpy(ammcb->tag, "AMEC", sizeof ammcb->tag);
  copy_name(ammcb->method, kMethodName);
  ammcb->ament = new_record<AMENT>();
  if (ammcb->ament == nullptr) {
    release_record(ammcb);
    return nullptr;
  }
  *ammcb->ament = kMethodTable;
  return ammcb;
}

rctype check_allowed() {
  double xcmd = 0.0;
  if (yyrngef(nullptr, kHostOptionXcmd, 0, 0, nullptr, &xcmd, nullptr, current_task()->context) !=
      0) {
    return fail_with_text("ERROR: Unable to retrieve the value of the XCMD option");
  }
  if (xcmd == 0.0) {
    return fail_with_text(
        "The SFTP access method is not allowed because the NOXCMD option is in effect");
  }
  return kSuccess;
}

}  // namespace

void qenxbams(AMMCB** ammcbp, rctype* rcp) {
  *rcp = check_allowed();
  if (*rcp != kSuccess) return;
  *ammcbp = new_method();
  if (*ammcbp == nullptr) *rcp = kNoMemory;
}

rctype yxsnsup(...) {
  return kNotSupported;
}

rctype yxsval(char* /*logicalname*/) {
  return kSuccess;
}

rctype yxsok() {
  return kSuccess;
}
