// Whether a fileref, and the remote file behind it, exists.
#include "sup/src/yxsftp/directory.h"
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/listing.h"

namespace {

// Letter case does not matter.
rctype find_in_listing(FFCB* ffcb) {
  auto* wanted = static_cast<tchar*>(ffcb->member);
  wztxxlt(kUpperCase, wanted, wanted, ffcb->memberl);
  for (; ffcb->mget != nullptr; ffcb->mget = ffcb->mget->next) {
    if (ffcb->mget->pnl != ffcb->memberl) continue;
    tchar name[kLongestName];
    wztxxlt(kUpperCase, ffcb->mget->pn, name, ffcb->mget->pnl);
    if (view(name, ffcb->mget->pnl) == view(wanted, ffcb->memberl)) return kSuccess;
  }
  return kDoesNotExist;
}

}  // namespace

rctype yxsexl(char* logicalname, rebid reb) {
  return yxszl2l(logicalname, nullptr, nullptr, reb);
}

rctype yxsexp(char* logicalname, rebid reb) {
  FFCB* ffcb = nullptr;
  rctype rc = makeffcb(&ffcb, nullptr, logicalname, reb);
  if (rc != kSuccess) return rc;
  // A listing leaves hidden names out unless it is asked for them.
  if (view(ffcb->member, ffcb->memberl).starts_with('.')) {
    ffcb->flags = (ffcb->flags & ~kOptionLs) | kOptionLsa;
  }
  rc = dols(ffcb);
  if (rc == kSuccess) rc = find_in_listing(ffcb);
  term(ffcb);
  return rc;
}
