// Multiple get: several remote files, fetched one after the other, read as one.
#pragma once

#include "sup/src/yxsftp/ffcb.h"

// Chains the names, from the list in the physical name or from a listing of its pattern, and
// fetches the first file that can be had into the temporary file.
rctype domget(FFCB* ffcb);

// Fetches the file that the cursor stands at, which moves on whatever the outcome. kSkipThisFile:
// the client cannot fetch it; kEndOfFile: there is none left.
rctype mget_next_file(FFCB* ffcb);

// The same, passing over files that cannot be fetched.
rctype fetch_next_file(FFCB* ffcb);

// Puts the `l` bytes at `p`, at most kLongestEntry, behind the entry in `*name` (null: in front)
// and stores the new entry there.
rctype domget_build_name(const char* p, int l, FFCB* ffcb, SFTP_MGET** name);
constexpr int kLongestEntry = 511;
