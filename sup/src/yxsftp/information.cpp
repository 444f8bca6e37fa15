// What the host shows about an open file or directory.
#include "sup/src/yxsftp/directory.h"
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/text.h"

namespace {

constexpr long kFilePairs = 12;  // room for as many
constexpr long kDirectoryPairs = 2;
constexpr long kScratchSize = 100;

W_INFSTR* new_list(long pairs) {
  const long length = static_cast<long>(sizeof(W_INFSTR) + (pairs - 1) * sizeof(W_PAIRS));
  return static_cast<W_INFSTR*>(vmalloc_handler(yymheap(), length, kHeapZeroed));
}

// The texts are not copied.
void set_pair(W_INFSTR* list, std::string_view label, std::string_view value) {
  W_PAIRS* pair = list->wpairs;
  pair->nameptr = const_cast<tchar*>(label.data());
  pair->namelen = static_cast<int>(label.size());
  pair->valueptr = const_cast<tchar*>(value.data());
  pair->valuelen = static_cast<int>(value.size());
}

std::string_view what_is_open(const FFCB* ffcb) {
  if ((ffcb->flags & kOptionDir) != 0 && ffcb->member != nullptr) {
    // In a multiple get the length is that of the file being read.
    const int whole = wzstlen(static_cast<tchar*>(ffcb->member));
    return view(ffcb->member, std::min(ffcb->memberl, whole));
  }
  if ((ffcb->flags & kOptionLs) != 0) return "LS generated list of files";
  return view(ffcb->pn, ffcb->pnl);
}

}  // namespace

rctype yxsins(ptr filepointer, W_INFSTR** infostrp) {
  FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  W_INFSTR* list = new_list(kFilePairs);
  if (list == nullptr) return kNoMemory;
  if (ffcb->infomem == nullptr) {
    ffcb->infomem = vmalloc_handler(yymheap(), kScratchSize, kHeapZeroed);
  }
  if (ffcb->infomem == nullptr) {
    release_record(list);
    return kNoMemory;
  }
  set_pair(list, "Filename", what_is_open(ffcb));
  list->pairnum = 2;  // the second stays empty
  ffcb->infostrp = list;
  *infostrp = list;
  return kSuccess;
}

rctype yxsinf(ptr filepointer, W_INFSTR* infostr) {
  FFCB* ffcb = live_file(filepointer);
  if (ffcb == nullptr) return kNullPointer;
  if (infostr == nullptr) return kSuccess;
  release_record(ffcb->infomem);
  ffcb->infomem = nullptr;
  if (ffcb->infostrp == infostr) ffcb->infostrp = nullptr;
  release_record(infostr);
  return kSuccess;
}

rctype yxsdins(ptr filepointer, W_INFSTR** infostrp) {
  if (filepointer == nullptr) return kNullPointer;
  const FLCB* flcb = static_cast<const FDCB*>(filepointer)->flcb;
  W_INFSTR* list = new_list(kDirectoryPairs);
  if (list == nullptr) return kNoMemory;
  set_pair(list, "Directory", view(flcb->pn, flcb->pnl));
  list->pairnum = 1;
  *infostrp = list;
  return kSuccess;
}

rctype yxsdinf(ptr /*filepointer*/, W_INFSTR* infostr) {
  release_record(infostr);
  return kSuccess;
}
