// Closing a file: what was written goes to the remote side, everything is released.
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/session.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

// A batch transfers its files itself.
bool has_output(const FFCB* ffcb) {
  return (ffcb->openmode & kOpenOutput) != 0 && ffcb->tempfileptr != nullptr;
}

// A temporary file that cannot be closed leaves everything as it is, for another try.
rctype close_file(FFCB* ffcb, bool output) {
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

rctype close_if_live(ptr filepointer, bool sends) {
  if (filepointer == nullptr) return kNullPointer;
  auto* ffcb = static_cast<FFCB*>(filepointer);
  if (!ffcb->ended) return close_file(ffcb, sends && has_output(ffcb));
  release_record(ffcb);
  return kSuccess;
}

// Listings and multiple gets only read: what was written to one is dropped.
bool only_reads(ptr filepointer) {
  const FFCB* ffcb = live_file(filepointer);
  return ffcb != nullptr && (is_listing(ffcb) || (ffcb->flags & kOptionMget) != 0);
}

}  // namespace

rctype yxsclos(ptr filepointer) {
  return close_if_live(filepointer, !only_reads(filepointer));
}

rctype yxsmcls(ptr filepointer) {
  return close_if_live(filepointer, true);
}
