// The signals that end the command: INT, TERM and HUP, each unless it is ignored.
#pragma once

#include <exception>

namespace cli {

// Not an error: the caller asked for the end.
class Interrupted : public std::exception {};

// From here on the first of the signals is kept in mind, and system calls that wait are broken off
// once a second, so that none sleeps through it.
void catch_interrupts();

bool interrupted() noexcept;
// Throws Interrupted.
void throw_if_interrupted();

// Ends the process by the signal that came, if one did, with the terminal as it was at first.
void end_if_interrupted();

}  // namespace cli
