#include "sup/src/yxsftp/names.h"

namespace {

constexpr long kPoolSize = 1024;

bool make_pool(FFCB* ffcb) {
  if (ffcb->mgetp == nullptr) ffcb->mgetp = ympoolc(0, kPoolSize, 0);
  return ffcb->mgetp != nullptr;
}

}  // namespace

rctype append_name(FFCB* ffcb, SFTP_MGET** last, std::string_view name, int flags) {
  if (!make_pool(ffcb)) return kNoMemory;
  auto* node = static_cast<SFTP_MGET*>(vmalloc_handler(ffcb->mgetp, sizeof(SFTP_MGET), flags));
  if (node == nullptr) return kNoPoolMemory;
  node->next = nullptr;
  node->pnl = static_cast<int>(name.size());
  if (!name.empty()) std::memcpy(node->pn, name.data(), name.size());
  if (node->pnl < kLongestName) node->pn[node->pnl] = '\0';
  if (*last == nullptr) {
    ffcb->mgeth = node;
    ffcb->mget = node;
  } else {
    (*last)->next = node;
  }
  *last = node;
  return kSuccess;
}
