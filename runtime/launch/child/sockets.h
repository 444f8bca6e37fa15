// The sockets of another process, which must be one that we may look into: a child of ours, say.
#pragma once

#include <sys/types.h>

#include <functional>

#include "runtime/fd.h"

namespace fileref::runtime {

// Calls `take` with a duplicate of each. False when some could not be looked at.
bool for_each_socket(pid_t process, const std::function<void(const Fd& socket)>& take);

// Whether others may be connected through the process: it listens for them, or that is not known.
bool may_serve_others(pid_t process);

}  // namespace fileref::runtime
