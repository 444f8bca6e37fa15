// Remote names: the chain that a listing or a name list leaves on its file.
#pragma once

#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/text.h"

constexpr int kLongestName = 512;

// One name. All of a chain come from the name pool of their file and go with it.
struct SFTP_MGET {
  SFTP_MGET* next;
  int pnl;
  char pn[kLongestName];  // terminated only when there is room
};

inline std::string_view name_of(const SFTP_MGET* node) {
  return view(node->pn, node->pnl);
}

// A terminated copy of a name of at most kLongestName bytes.
struct PrintableName {
  explicit PrintableName(std::string_view name) { join(text, -kLongestName - 1, name); }
  char text[kLongestName + 1];
};

// Puts a name, of at most kLongestName bytes, behind `*last` and stores its node there. Behind null
// it begins a new chain, at which the file's cursor stands then. `flags` are those of the
// allocation. kNoMemory: there is no pool; kNoPoolMemory: it has no room.
rctype append_name(FFCB* ffcb, SFTP_MGET** last, std::string_view name, int flags);
