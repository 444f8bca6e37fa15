// Ends a client whose host has gone without a word.
#pragma once

#include <sys/types.h>

#include "runtime/fd.h"

namespace fileref::runtime {

// A process of its own, because nothing in the host runs any more when the kernel has killed it. It
// kills the client and all that the client started as soon as the process that made it has ended or
// runs another program. It lives until it is dismissed, and the terminal's signals do not reach it.
class Guardian {
 public:
  Guardian() = default;
  // Watches over `client`, a child of this process; with `own_group` it leads a process group.
  // Needs a kernel of 5.9 or later; with an older one there is no watch. Sets errno when there is
  // no process to be had.
  Guardian(pid_t client, bool own_group);
  Guardian(Guardian&& other) noexcept
      : pid_(std::exchange(other.pid_, -1)), lifeline_(std::move(other.lifeline_)) {}
  Guardian& operator=(Guardian&& other) = delete;
  // Dismisses it.
  ~Guardian() { dismiss(); }

  explicit operator bool() const { return pid_ > 0; }
  // Ends it, reaped. The client is left alone from then on.
  void dismiss();
  // Does nothing any more: it belongs to the process that this one was forked from.
  void forget();

 private:
  pid_t pid_ = -1;
  Fd lifeline_;  // closed with the last of this process's descriptors
};

}  // namespace fileref::runtime
