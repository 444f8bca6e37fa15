#include "sup/src/yxsftp/famb.h"

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/flcb.h"
#include "sup/src/yxsftp/memory.h"

namespace {

void forget_option_block(FLCB* flcb, const FAMB* block) {
  if (flcb->amb == block) flcb->amb = nullptr;
  for (FFCB* file = flcb->files; file != nullptr; file = file->sibling) {
    if (file->famb == block) file->famb = nullptr;
    if (file->amb == block) file->amb = nullptr;
  }
}

}  // namespace

rebid request_of(const FAMB* block) {
  return block->reb != nullptr ? block->reb : current_request();
}

void release_option_block(FAMB* block, FLCB* holder) {
  if (block == nullptr) return;
  const rebid reb = request_of(block);
  release_buffer(reb, block->batchfile);
  release_buffer(reb, block->options);
  release_buffer(reb, block->optionsx);
  release_buffer(reb, block->cd);
  release_buffer(reb, block->path);
  if (holder != nullptr) forget_option_block(holder, block);
  release_record(block);
}

void release_unused_options(FAMB* block, FLCB* holder) {
  const bool kept = block != nullptr && (block->flags & kBlockKeptByHost) != 0;
  if (!kept) release_option_block(block, holder);
}

rctype yxshbfr(char* logicalname, rebid reb, ptr hostbag) {
  FLCB* flcb = nullptr;
  const rctype rc = yxszl2l(logicalname, nullptr, &flcb, reb);
  if (rc != kSuccess) return rc;
  release_option_block(static_cast<FAMB*>(hostbag), flcb);
  return kSuccess;
}
