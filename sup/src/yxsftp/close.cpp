// Closing a file: what was written goes to the remote side, everything is released.
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/session.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

// A temporary file that cannot be closed leaves everything as it is, for another try.
rctype close_file(FFCB* ffcb) {
  rctype rc = close_tempfile(ffcb);
  if (rc != kSuccess) return rc;
  if ((ffcb->openmode & kOpenOutput) != 0) rc = putfile(ffcb);
  if (rc != kSuccess) {
    term(ffcb);
    return rc;
  }
  release_file(ffcb);
  return kSuccess;
}

}  // namespace

rctype yxsclos(ptr filepointer) {
  return filepointer == nullptr ? kNullPointer : close_file(static_cast<FFCB*>(filepointer));
}

rctype yxsmcls(ptr filepointer) {
  return yxsclos(filepointer);
}
