// How far a transfer has come, on the terminal.
#pragma once

#include <cstddef>

#include "fileref/host.h"

namespace cli {

// Shows transfers of more than a second on a line of standard error, if that is a terminal: how far
// each has come, how fast of late, how long it will take, and which of several files it is. The
// line goes away with the transfer. What the host says of several files counts over `number`.
void show_progress(fileref::HostOptions& options, std::size_t number, std::size_t files);

// Takes the line away, until there is more to show.
void clear_progress() noexcept;

}  // namespace cli
