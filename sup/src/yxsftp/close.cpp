// Closing a file: what was written goes to the remote side, everything is released.
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/session.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

// A batch transfers its files itself, and a multiple get sends nothing back.
bool has_output(const FFCB* ffcb) {
  const bool fetched = (ffcb->openmode & kOpenInput) != 0;
  const bool multiple = fetched && (ffcb->flags & kOptionMget) != 0;
  return (ffcb->openmode & kOpenOutput) != 0 && ffcb->tempfileptr != nullptr && !multiple;
}

// A temporary file that cannot be closed leaves everything as it is, for another try.
rctype close_file(FFCB* ffcb) {
  const bool output = has_output(ffcb);
  rctype rc = close_tempfile(ffcb);
  if (rc != kSuccess) return rc;
  if (output) rc = putfile(ffcb);
  if (rc != kSuccess) {
    term(ffcb);
    return rc;
  }
  release_file(ffcb);
  return kSuccess;
}

}  // namespace

rctype yxsclos(ptr filepointer) {
  if (filepointer == nullptr) return kNullPointer;
  auto* ffcb = static_cast<FFCB*>(filepointer);
  if (!ffcb->ended) return close_file(ffcb);
  release_record(ffcb);
  return kSuccess;
}

rctype yxsmcls(ptr filepointer) {
  return yxsclos(filepointer);
}
