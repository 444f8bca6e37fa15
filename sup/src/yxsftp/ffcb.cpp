#include "sup/src/yxsftp/ffcb.h"

#include "dsup/src/services.h"
#include "sup/src/yxsftp/memory.h"
#include "sup/src/yxsftp/tempfile.h"
#include "sup/src/yxsftp/text.h"

FFCB* new_file(FLCB* flcb, AMMCB* ammcb, FAMB* options, rebid reb) {
  auto* ffcb = new_record<FFCB>();
  if (ffcb == nullptr) {
    release_unused_options(options, flcb);
    return nullptr;
  }
  ffcb->task = reb->task;
  ffcb->reb = reb;
  upper_name(ffcb->logname, flcb->logname);
  ffcb->ammcb = ammcb;
  ffcb->amb = options;
  ffcb->flag = options != nullptr ? options->flags : 0;
  ffcb->famb = flcb->amb;
  ffcb->wait = kDefaultWait;
  blank_name(ffcb->templogical);
  ffcb->flcb = flcb;
  ffcb->sibling = flcb->files;
  flcb->files = ffcb;
  return ffcb;
}

rctype copy_fileref_names(FFCB* ffcb) {
  const FLCB* flcb = ffcb->flcb;
  ffcb->pnl = flcb->pnl;
  ffcb->memberl = flcb->memberl;
  if (flcb->pnl != 0) ffcb->pn = copy_text(ffcb->reb, view(flcb->pn, flcb->pnl));
  if (flcb->pnl != 0 && ffcb->pn == nullptr) return kNoMemory;
  if (flcb->memberl != 0) ffcb->member = copy_text(ffcb->reb, view(flcb->member, flcb->memberl));
  if (flcb->memberl != 0 && ffcb->member == nullptr) return kNoMemory;
  return kSuccess;
}

void apply_open_parameters(FFCB* ffcb, WX_OPENPARM* openparm) {
  ffcb->openmode = openparm->openmode;
  ffcb->filetype = openparm->filetype;
  ffcb->recfm = openparm->recfm;
  if (openparm->datalen > 0) ffcb->datalength = openparm->datalen;
  if (openparm->datalen < 0) openparm->datalen = -openparm->datalen;
  if (openparm->datalen != 0) ffcb->lrecl = openparm->datalen;
  openparm->encoding_default = U_DEFAULT_CE;
}

void count_open(FFCB* ffcb) {
  ++ffcb->flcb->open;
  ffcb->counted = ffcb->flcb;
}

namespace {

void leave_fileref(FFCB* ffcb) {
  if (ffcb->counted != nullptr) --ffcb->counted->open;
  ffcb->counted = nullptr;
  FLCB* flcb = ffcb->flcb;
  if (flcb == nullptr) return;
  FFCB** link = &flcb->files;
  while (*link != ffcb) link = &(*link)->sibling;
  *link = ffcb->sibling;
  ffcb->flcb = nullptr;
  release_unused(flcb);
}

void release_names(FFCB* ffcb) {
  release_buffer(ffcb->reb, ffcb->pn);
  release_buffer(ffcb->reb, ffcb->member);
  if (ffcb->mgetp != nullptr) wmpoold(static_cast<POOL*>(ffcb->mgetp));
  release_buffer(ffcb->reb, ffcb->tempfile);
  release_buffer(ffcb->reb, ffcb->options);
  release_buffer(ffcb->reb, ffcb->optionsx);
  release_buffer(ffcb->reb, ffcb->lssuff);
}

void release_possessions(FFCB* ffcb) {
  if ((ffcb->flag & kBlockKeptByHost) == 0) release_option_block(ffcb->amb, ffcb->flcb);
  leave_fileref(ffcb);
  release_names(ffcb);
  if (!blank_first(ffcb->templogical)) yxrdasg(ffcb->templogical, ffcb->reb);
  release_record(ffcb->xxopenparm);
  release_record(ffcb->infomem);
  release_record(ffcb->infostrp);
}

}  // namespace

void release_file(FFCB* ffcb) {
  release_possessions(ffcb);
  release_record(ffcb);
}

void term(FFCB* ffcb) {
  close_tempfile(ffcb);
  release_file(ffcb);
}

void end_file(FFCB* ffcb) {
  close_tempfile(ffcb);
  release_possessions(ffcb);
  *ffcb = FFCB{};
  ffcb->ended = true;
}
