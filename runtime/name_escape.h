// Remote names in a form that no reader of a client's answers takes for anything but a name.
//
// Answers are read as text: blanks and line ends separate names, a prompt ends them, and a phrase
// tells of a failure. Inside the host a name therefore goes escaped; it is put back where it leaves
// (listings, member names) and where it enters (commands to the client). The marks are control
// bytes that clients do not print, so nothing they say is taken for an escaped name.
#pragma once

#include <string>
#include <string_view>

namespace fileref::runtime {

// Without blanks, carriage returns, prompts and phrases, in any letter case. At most twice as long,
// a blank stays one byte; "." stays first, and "/" and line feeds stay what they are.
std::string escape_name(std::string_view name);

// unescape_name(escape_name(x)) is x, for all bytes. The escaped parts of a path may be put back
// together.
std::string unescape_name(std::string_view escaped);

// A name from outside as it may enter: itself, unless it holds marks of its own.
std::string protect_name(std::string_view name);

// Two bytes, neither of them `c`, that unescape to `c`. For a byte that is special to a reader of
// names; not for control bytes.
std::string escape_byte(char c);

}  // namespace fileref::runtime
