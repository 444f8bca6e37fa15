// How far a transfer has come, on the terminal.
#pragma once

#include "fileref/host.h"

namespace cli {

// Shows transfers of more than a second on a line of standard error, if that is a terminal. The
// line goes away with the transfer.
void show_progress(fileref::HostOptions& options);

}  // namespace cli
