// The flags that say how a server is reached.
#pragma once

#include "cli/request.h"
#include "fileref/target.h"

namespace cli {

// Adds the words to a target on a server. Throws WrongUse when they cannot be meant: for a target
// without a server, a port that is none, or another than the target's own.
void add_login(const Request& request, fileref::Target* target);

}  // namespace cli
