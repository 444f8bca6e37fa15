// Listings: what the client prints becomes a chain of names.
#pragma once

#include "sup/src/yxsftp/names.h"

// Asks the client for the names in its current directory, or for those that MGET's pattern or
// LSFILE describe, and chains them on the file.
rctype dols(FFCB* ffcb);

// Reads the answer to a listing command. 0: complete, and the text of its last chunk is in the
// fileref's answer buffers as it came. A failure keeps the names that came before it.
int parsestdoutls(FFCB* ffcb);

// The longest piece of an unfinished name or line that is carried into the next chunk.
constexpr int kLongestRun = 1023;

// A listing that is being read.
struct Listing {
  FFCB* ffcb;
  bool first = true;      // nothing was taken apart yet
  bool more = true;       // its end was not seen yet
  bool skipping = false;  // inside a run too long to carry, up to where it ends
  SFTP_MGET* last = nullptr;
  int carried = 0;
  tchar tail[kLongestRun] = {};
};

// Takes the names out of `text`, which ends before the prompt, if there is one, and carries what
// the text leaves unfinished.
rctype take_names(Listing* listing, std::string_view text);
