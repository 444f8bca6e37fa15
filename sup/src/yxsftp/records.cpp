// Records: read, write, and the vector that lets the host call them directly.
#include <climits>

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/memory.h"
#include "sup/src/yxsftp/report.h"

namespace {

wrcode read_record(const FFCB* ffcb, ptr* record, long* length, tchar* cc) {
  auto* file = static_cast<HOST_FILE*>(ffcb->tempfileptr);
  if (file == nullptr) return kFailed;
  if (ffcb->pnl == 0 && ffcb->memberl == 0) return kEndOfFile;
  if (file->filter != nullptr) return file->filter->read(file, record, length, cc);
  return file->routines->amfpread(file->filepointer, record, length, cc);
}

// What the NBYTE variable asks for; false when that is not a number of bytes.
bool value_of_nbyte(const FFCB* ffcb, long* count) {
  const double value = *static_cast<const double*>(ffcb->nbyte.addr);
  if (!(value >= 0)) return false;
  *count = value < static_cast<double>(LONG_MAX) ? static_cast<long>(value) : LONG_MAX;
  return true;
}

}  // namespace

wrcode yxsread(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc) {
  if (filepointer == nullptr) return kNullPointer;
  return read_record(static_cast<const FFCB*>(filepointer), recordpointer, datalength, cc);
}

wrcode yxsrds(ptr filepointer, ptr* recordpointer, long* datalength, tchar* cc) {
  if (filepointer == nullptr) return kNullPointer;
  const auto* ffcb = static_cast<const FFCB*>(filepointer);
  *recordpointer = nullptr;
  long count = *datalength;
  if (ffcb->nbyte.addr != nullptr && !value_of_nbyte(ffcb, &count)) return kWrongUse;
  if (count <= 0) count = ffcb->lrecl;
  if (count > ffcb->lrecl) {
    log_message<message::ByteCountTooLarge>(count, ffcb->lrecl);
    return kByteCountTooLarge;
  }
  const wrcode rc = read_record(ffcb, recordpointer, &count, cc);
  *datalength = count;
  return rc;
}

wrcode yxswrit(ptr filepointer, ptr recordpointer, long datalength, tchar cc) {
  if (filepointer == nullptr) return kNullPointer;
  auto* file = static_cast<HOST_FILE*>(static_cast<const FFCB*>(filepointer)->tempfileptr);
  if (file == nullptr) return kFailed;
  if (file->filter != nullptr) return file->filter->write(file, recordpointer, datalength, cc);
  return file->routines->amfpwrite(file->filepointer, recordpointer, datalength, cc);
}

rctype yxsamvc(ptr filepointer, WX_AMVEC** amvecptr) {
  if (filepointer == nullptr) return kNullPointer;
  auto* ffcb = static_cast<FFCB*>(filepointer);
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
