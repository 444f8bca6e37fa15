// Starts a program on three pipes.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "runtime/launch/fd.h"

namespace fileref::runtime {

// The caller's ends of the pipes, all close-on-exec. The caller reaps `pid`.
struct Spawned {
  pid_t pid = -1;
  Fd in, out, err;
};

// See Child::start. On failure nothing is left running or open.
std::optional<Spawned> spawn(const std::vector<std::string>& words, bool own_session,
                             std::string* why);

}  // namespace fileref::runtime
