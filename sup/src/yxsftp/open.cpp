// Opening a fileref.
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/listing.h"
#include "sup/src/yxsftp/mget.h"
#include "sup/src/yxsftp/nbyte.h"
#include "sup/src/yxsftp/session.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

// Finds the fileref and makes the file. On failure there is none, and the options of the open are
// released, unless they are the host's.
rctype make_file(char* logicalname, rebid reb, FAMB* options, FFCB** ffcb) {
  AMMCB* ammcb = nullptr;
  FLCB* flcb = nullptr;
  const rctype rc = yxszl2l(logicalname, &ammcb, &flcb, reb);
  if (rc != kSuccess) {
    release_unused_options(options, nullptr);
    return rc;
  }
  *ffcb = new_file(flcb, ammcb, options, reb);
  return *ffcb != nullptr ? kSuccess : kNoMemory;
}

rctype set_up(FFCB* ffcb, WX_OPENPARM* openparm) {
  rctype rc = copy_fileref_names(ffcb);
  if (rc != kSuccess) return rc;
  apply_open_parameters(ffcb, openparm);
  rc = yxshbag(ffcb, openparm->hostptr);
  if (rc != kSuccess) return rc;
  openparm->datalen = ffcb->maxlrecl;
  openparm->encoding_override = U_DEFAULT_CE;
  return kSuccess;
}

// Stream input needs a variable for the byte count, unless NONBYTE was given.
rctype bind_nbyte(FFCB* ffcb) {
  if ((ffcb->recfm & kRecfmStream) == 0 || ffcb->ds == 0 || !has_variables()) return kSuccess;
  if (ffcb->nbyte.name[0] != '\0' && bind_variable(&ffcb->nbyte)) return kSuccess;
  log_message<message::NbyteUnusable>();
  return kWrongUse;
}

bool runs_batch(const FFCB* ffcb) {
  return has_option(ffcb->flcb, kOptionBatch);
}

// A batch and a listing do without the temporary file.
rctype open_for_input(FFCB* ffcb) {
  rctype rc = create_tempfile(ffcb);
  if (rc != kSuccess || runs_batch(ffcb)) return rc;
  if (is_listing(ffcb)) return dols(ffcb);
  rc = (ffcb->flags & kOptionMget) != 0 ? domget(ffcb) : getfile(ffcb);
  if (rc == kSuccess) rc = open_tempfile(ffcb);
  return rc == kSuccess ? bind_nbyte(ffcb) : rc;
}

rctype open_for_output(FFCB* ffcb) {
  const rctype rc = create_tempfile(ffcb);
  return rc == kSuccess ? open_tempfile(ffcb) : rc;
}

// Starts the client if need be. A batch file is run by its client, so that every open of one starts
// a client and is complete then.
rctype begin_session(FFCB* ffcb, bool* complete) {
  int* flag = &ffcb->flcb->flag;
  const bool pending = (*flag & kSessionPending) != 0;
  const rctype rc = start_session(ffcb, ffcb->reb);
  *complete = pending && runs_batch(ffcb);
  if (*complete) *flag |= kSessionPending;
  return rc;
}

// What has no open temporary file to show for its input is not counted.
rctype open_file(FFCB* ffcb, WX_OPENPARM* openparm) {
  rctype rc = set_up(ffcb, openparm);
  if (rc != kSuccess) return rc;
  bool complete = false;
  rc = begin_session(ffcb, &complete);
  if (rc != kSuccess || complete) return rc;
  if ((ffcb->openmode & kOpenInput) != 0) {
    rc = open_for_input(ffcb);
    if (ffcb->tempfileptr == nullptr) return rc;
  } else if ((ffcb->openmode & kOpenOutput) != 0) {
    rc = open_for_output(ffcb);
  }
  if (rc == kSuccess) count_open(ffcb);
  return rc;
}

}  // namespace

rctype yxsopn(ptr* filepointer, char* logicalname, rebid reb, WX_OPENPARM* openparm) {
  *filepointer = nullptr;
  FFCB* ffcb = nullptr;
  rctype rc = make_file(logicalname, reb, static_cast<FAMB*>(openparm->hostptr), &ffcb);
  if (rc != kSuccess) return rc;
  rc = open_file(ffcb, openparm);
  if (rc != kSuccess) {
    term(ffcb);
    return rc;
  }
  *filepointer = ffcb;
  return kSuccess;
}
