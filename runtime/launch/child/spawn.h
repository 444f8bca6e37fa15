// Starts a program on three pipes.
#pragma once

#include <sys/types.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "runtime/fd.h"
#include "runtime/launch/child/guardian.h"

namespace fileref::runtime {

// What a program has to do with the terminal of its host.
enum class Terminal {
  kNone,    // it has a session of its own and leads a process group
  kShared,  // it may ask its user there
  // The same, but the interrupt key does nothing to it: the host ends it in order.
  kSharedButNotInterrupted,
};

// The caller's ends of the pipes, all close-on-exec. The caller reaps `pid`.
struct Spawned {
  pid_t pid = -1;
  Guardian guardian;
  Fd in, out, err;
};

// See Child::start. On failure nothing is left running or open.
std::optional<Spawned> spawn(const std::vector<std::string>& words, Terminal terminal,
                             std::string* why);

// fork(2) with all signals blocked in the new process, so that no handler of the host runs there.
pid_t fork_quietly();
// Puts three descriptors on 0, 1 and 2, past each other where they already lie there.
bool put_on_standard_streams(const std::array<int, 3>& descriptors);

// The path of `program` as it would be run; empty when there is none in PATH.
std::string find_program(const std::string& program);

}  // namespace fileref::runtime
