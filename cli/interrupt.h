// The signals that end the command: INT, TERM and HUP, each unless it is ignored.
#pragma once

#include <exception>

namespace cli {

// Not an error: the caller asked for the end.
class Interrupted : public std::exception {};

// From here on the first of the signals is kept in mind, and system calls that wait are broken off
// again and again behind it, so that none sleeps through it.
void catch_interrupts();

bool interrupted() noexcept;
// Throws Interrupted.
void throw_if_interrupted();
// Behind a read or write of `descriptor` that failed with errno: returns when it is to be made
// again, if need be once the descriptor is ready for `events`, as poll(2) has them. Else throws
// std::system_error that names `what`, or Interrupted.
void wait_to_go_on(int descriptor, short events, const char* what);

// Ends the process by the signal that came, if one did, with the terminal as it was at first.
void end_if_interrupted();

}  // namespace cli
