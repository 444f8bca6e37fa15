// The file that --log names.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "fileref/host.h"

namespace cli {

// Sends the log of a host to the end of a file, line by line. Throws WrongUse when the file cannot
// be written to. An empty path: no log.
void log_to(const std::string& path, fileref::HostOptions& options);

}  // namespace cli
