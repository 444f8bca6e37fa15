// Packets in a form for people.
#pragma once

#include <string>
#include <string_view>

namespace fileref::sftp {

// One line about a whole packet: its id, type and what identifies its subject, never file contents.
// Names may hold any byte; control bytes are shown as \xNN.
std::string describe(std::string_view packet);

}  // namespace fileref::sftp
