// Names and messages on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace fileref {

/// `text` as it may be shown, on one line: control characters, characters that change the direction
/// of writing or separate lines, and bytes that are no UTF-8 are written as \xNN, byte by byte.
/// What comes from a server can otherwise drive a terminal.
std::string printable(std::string_view text);

/// The same for a name on standard output, with a "?" for each such character, or byte that is none.
std::string printable_name(std::string_view name);

}  // namespace fileref
