#include "dsup/src/vvipgmcn.h"

namespace {

// A host that numbers its modules puts its own values here.
constexpr long kSupport = 0;
constexpr long kProductId = 0;

constexpr TKVERCN kVersion = {"fileref", FILEREF_VERSION, __DATE__};

}  // namespace

VIMODCON vi_mcn = {
    .tag = "QEN_Image_Information=",
    .modconmagic = kModuleMagic,
    .compat_flags = 8,
    .portver = FILEREF_RELEASE,
    .portverl = FILEREF_VERSION,
    .builddate = __DATE__,
    .pgmcons = mcn_pcns,
    .copyright = "Copyright the fileref authors",
    .releasenum = "001",
};

WIPGMCON* mcn_pcns[2] = {&pcn_QENXBAMS, nullptr};

WIPGMCON pcn_QENXBAMS = {
    .stacksize = -65536,
    .isa = 1024,
    .osa = 1024,
    .name = {'q', 'e', 'n', 'x', 'b', 'a', 'm', 's'},
    .flags = 0,
    .ep = qenxbams,
    .imgtype = 2,
    .support = kSupport,
    .prodid = kProductId,
    .cntlc = 15,
};

SOPTION SUPLIB_OPTIONS[1] = {{{'C', 'O', 'M', 'P', 'R', 'E', 'S', 'S'}, 8}};

void tkvercn1(TKVERCN* version) {
  *version = kVersion;
}
