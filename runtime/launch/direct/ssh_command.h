// What the direct client runs in place of `sftp`: the system's own ssh, asked for its file transfer
// subsystem, or a server program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "runtime/sftp/connection.h"

namespace fileref::runtime::direct {

struct ServerCommand {
  std::vector<std::string> words;
  sftp::Settings settings;  // as far as -B, -R and -X ask for them
  bool runs_ssh;            // the system's own, which ends in good order at TERM
};

// What `sftp`, run with the words given (the program first), would run itself. Returns nothing, and
// says why, when it takes that program to carry one of them out.
std::optional<ServerCommand> server_command(const std::vector<std::string>& words,
                                            std::string* why);

// Whether `program`, as a command line names it, is the system's own `sftp`: by its mere name, no
// script, and beside `ssh`. Any other is somebody's own and does what only it knows.
bool is_systems_own(const std::string& program);

}  // namespace fileref::runtime::direct
