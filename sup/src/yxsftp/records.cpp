// Records: read, write, and the vector that lets the host call them directly.
#include <climits>

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/mget.h"
#include "sup/src/yxsftp/names.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/tempfile.h"

namespace {

wrcode read_record(const FFCB* ffcb, ptr* record, long* length, tchar* cc) {
  if (ffcb->stopped != kSuccess) return ffcb->stopped;
  auto* file = static_cast<HOST_FILE*>(ffcb->tempfileptr);
  if (file == nullptr) return fail_with_text("The file is not open for input.");
  if (ffcb->pnl == 0 && ffcb->memberl == 0) return kEndOfFile;
  if (file->filter != nullptr) return file->filter->read(file, record, length, cc);
  return file->routines->amfpread(file->filepointer, record, length, cc);
}

// The record stays valid until the close.
wrcode read_name(FFCB* ffcb, ptr* record, long* length) {
  SFTP_MGET* node = ffcb->mget;
  if (node == nullptr) return kEndOfFile;
  *record = node->pn;
  *length = node->pnl;
  ffcb->mget = node->next;
  return kSuccess;
}

bool has_next_file(const FFCB* ffcb) {
  return (ffcb->flags & kOptionMget) != 0 && ffcb->stopped == kSuccess;
}

// Puts the next file of a multiple get in the place of the one that was read to its end.
rctype open_next_file(FFCB* ffcb) {
  close_tempfile(ffcb);
  ffcb->stopped = fetch_next_file(ffcb);
  if (ffcb->stopped != kSuccess) return ffcb->stopped;
  const wrcode rc = open_tempfile(ffcb);
  if (rc != kSuccess) end_file(ffcb);
  return rc;
}

// What the NBYTE variable asks for; false when that is not a number of bytes.
bool value_of_nbyte(const FFCB* ffcb, long* count) {
  const double value = *static_cast<const double*>(ffcb->nbyte.addr);
  if (!(value > -1)) return false;
  *count = value < static_cast<double>(LONG_MAX) ? static_cast<long>(value) : LONG_MAX;
  return true;
}

}  // namespace

wrcode yxsread(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc) {
  FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  if ((ffcb->flags & kOptionBatch) != 0) return kEndOfFile;
  if (is_listing(ffcb)) return read_name(ffcb, recordpointer, datalength);
  wrcode rc = read_record(ffcb, recordpointer, datalength, cc);
  while (plain_code(rc) == kEndOfFile && has_next_file(ffcb)) {
    rc = open_next_file(ffcb);
    if (rc == kSuccess) rc = read_record(ffcb, recordpointer, datalength, cc);
  }
  return rc;
}

wrcode yxsrds(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc) {
  FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  *recordpointer = nullptr;
  long count = *datalength;
  if (ffcb->nbyte.addr != nullptr && !value_of_nbyte(ffcb, &count)) return kWrongUse;
  if (count <= 0) count = ffcb->lrecl;
  if (count > ffcb->lrecl) {
    log_message<message::ByteCountTooLarge>(count, ffcb->lrecl);
    return kByteCountTooLarge;
  }
  // Names, and a batch, are no stream.
  const bool has_bytes = ffcb->tempfileptr != nullptr;
  const wrcode rc = has_bytes ? read_record(ffcb, recordpointer, &count, cc)
                              : yxsread(ffcb, recordpointer, &count, cc);
  *datalength = count;
  return rc;
}

wrcode yxswrit(ptr filepointer, ptr recordpointer, long datalength, tchar cc) {
  const FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  auto* file = static_cast<HOST_FILE*>(ffcb->tempfileptr);
  if (file == nullptr) return fail_with_text("The file is not open for output.");
  if (file->filter != nullptr) return file->filter->write(file, recordpointer, datalength, cc);
  return file->routines->amfpwrite(file->filepointer, recordpointer, datalength, cc);
}

rctype yxsamvc(ptr filepointer, WX_AMVEC** amvecptr) {
  FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  auto* vector = static_cast<WX_AMVEC*>(vmalloc_handler(yymheap(), sizeof(WX_AMVEC), kHeapRaw));
  if (vector == nullptr) return kNoMemory;
  const AMENT* ament = ffcb->ammcb->ament;
  const bool stream_input = (ffcb->openmode & kOpenInput) != 0 && (ffcb->recfm & kRecfmStream) != 0;
  vector->amfcb = ffcb;
  vector->amfpread = stream_input ? yxsrds : ament->amread.entryp;
  vector->amfpwrite = ament->amwrite.entryp;
  vector->amfpnote = ament->amnote.entryp;
  vector->amfppoint = ament->ampoint.entryp;
  vector->amfpb2pos = ament->amb2pos.entryp;
  vector->amfpr2pos = ament->amr2pos.entryp;
  ffcb->amvec = vector;
  *amvecptr = vector;
  return kSuccess;
}
