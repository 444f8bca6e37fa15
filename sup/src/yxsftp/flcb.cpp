#include "sup/src/yxsftp/flcb.h"

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/report.h"
#include "sup/src/yxsftp/text.h"

namespace {

// The name is kept in the case in which it was assigned.
bool has_name(const FLCB* flcb, const char* key) {
  char8 upper;
  upper_name(upper, flcb->logname);
  return same_name(upper, key);
}

}  // namespace

FLCB* find_in_method(const AMMCB* ammcb, const char* key) {
  if (ammcb == nullptr || ammcb->data == nullptr) return nullptr;
  // A name may be assigned through another method, whose data is not ours to read.
  if (!same_name(ammcb->method, kMethodName)) return nullptr;
  FLCB* flcb = static_cast<FAMMCB*>(ammcb->data)->flcb;
  while (flcb != nullptr && !has_name(flcb, key)) flcb = flcb->next;
  return flcb;
}

namespace {

// Stores null through `flcb` when neither method block has the name.
rctype search_both_methods(const char* key, rebid reb, AMMCB** ammcb, FLCB** flcb) {
  *ammcb = nullptr;
  wrcode rc = yxam2am(kMethodName, ammcb, reb);
  if (rc != kSuccess) return rc;
  *flcb = find_in_method(*ammcb, key);
  if (*flcb != nullptr) return kSuccess;
  *ammcb = nullptr;
  rc = yxal2am(key, reb, ammcb);
  if (rc != kSuccess) return rc;
  *flcb = find_in_method(*ammcb, key);
  return kSuccess;
}

}  // namespace

rctype yxszl2l(char* logicalname, AMMCB** ammcbp, FLCB** flcbp, rebid reb) {
  char8 key;
  upper_name(key, logicalname);
  AMMCB* unused = nullptr;
  AMMCB** ammcb = ammcbp != nullptr ? ammcbp : &unused;
  FLCB* found = nullptr;
  if (*ammcb != nullptr) {
    found = find_in_method(*ammcb, key);
  } else {
    const rctype rc = search_both_methods(key, reb, ammcb, &found);
    if (rc != kSuccess) return rc;
  }
  if (found == nullptr) return fail_with_name(kNotAssigned, key);
  if (flcbp != nullptr) *flcbp = found;
  return kSuccess;
}

namespace {

void end_process(FLCB* flcb) {
  if (flcb->sftp_jnl != nullptr) flcb->sftp_jnl->generic.destroy(&flcb->sftp_jnl->generic);
  flcb->sftp_jnl = nullptr;
  if (flcb->hProcess != nullptr) {
    flcb->hProcess->closestdio(flcb->hProcess);
    flcb->hProcess->generic.destroy(&flcb->hProcess->generic);
  }
  flcb->hProcess = nullptr;
}

void release_launch_service(FLCB* flcb) {
  if (flcb->els != nullptr) flcb->els->generic.destroy(&flcb->els->generic);
  flcb->els = nullptr;
}

}  // namespace

void end_client(FLCB* flcb) {
  end_process(flcb);
  release_launch_service(flcb);
  flcb->flag |= kSessionPending;
}

void release_fileref(FLCB* flcb) {
  release_buffer(flcb->reb, flcb->pn);
  release_buffer(flcb->reb, flcb->cd);
  release_buffer(flcb->reb, flcb->member);
  release_buffer(flcb->reb, flcb->msgbuffer);
  release_buffer(flcb->reb, flcb->msgbuffpreservecase);
  release_buffer(flcb->reb, flcb->termstr);
  end_process(flcb);
  release_buffer(flcb->reb, flcb->sftp_server);
  release_launch_service(flcb);
  release_record(flcb);
}

void release_unused(FLCB* flcb) {
  if (!flcb->retired || flcb->files != nullptr || flcb->directories != nullptr) return;
  release_option_block(flcb->amb, flcb);
  release_fileref(flcb);
}

rctype yxsinfo(ptr filepointer, char* logicalname, rebid reb, int /*flags*/, ptr /*hostptr*/,
               WX_INFOPARM* infoparm) {
  copy_name(infoparm->devtype, "SFTP    ");
  if (filepointer == nullptr) {
    FLCB* flcb = nullptr;
    const rctype rc = yxszl2l(logicalname, nullptr, &flcb, reb);
    if (rc != kSuccess) return rc;
    infoparm->flag |= is_directory(flcb) ? kInfoDirectory : kInfoFile;
    infoparm->pname = static_cast<tchar*>(flcb->pn);
    infoparm->namelen = flcb->pnl;
    return kSuccess;
  }
  const FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  infoparm->flag |= is_directory(ffcb->flcb) ? kInfoDirectory : kInfoFile;
  infoparm->pname = static_cast<tchar*>(ffcb->pn);
  infoparm->namelen = ffcb->pnl;
  infoparm->datalen = ffcb->datalength;
  infoparm->filesize = 0.0;
  infoparm->recfm = (ffcb->recfm & kRecfmFixed) != 0 ? kRecfmFixed : kRecfmVariable;
  return kSuccess;
}
