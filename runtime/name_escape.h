// Remote names in a form that no reader of a client's answers takes for anything but a name.
//
// Answers are read as text: blanks and line ends separate names, a prompt ends them, and a phrase
// tells of a failure. Between the host and the module a name therefore goes escaped, in both
// directions, and is put back where it leaves: in commands to the client, in records, members,
// messages and descriptions. Nobody counts, cuts or looks into a name while it is escaped. The
// marks are control bytes that clients do not print, so nothing they say is taken for an escaped
// name, and have no letter case: escaped names differ in case only where the names themselves do.
#pragma once

#include <string>
#include <string_view>

namespace fileref::runtime {

// Without blanks, carriage returns, apostrophes, prompts and phrases, in any letter case. At most
// twice as long, a blank stays one byte; "." stays first, and "/" and line feeds stay what they
// are.
std::string escape_name(std::string_view name);

// unescape_name(escape_name(x)) is x, for all bytes, as is unescape_name(protect_marks(x)). The
// escaped parts of a path may be put back together.
std::string unescape_name(std::string_view escaped);

// A text that is to be read as it is, names in it or not: itself, but for marks of its own.
std::string protect_marks(std::string_view text);

}  // namespace fileref::runtime
