// Tells the user what went wrong.
#pragma once

#include <string>

#include "fileref/failure.h"

namespace cli {

// The command was used wrongly.
using WrongUse = fileref::UsageError;

// The block for a failure: what failed, the sentence, the code, the client's own words; for a wrong
// option its text with the place underlined. Ends in a line feed.
std::string describe(const std::string& what_failed, const fileref::Failure& failure);

// The beginning of a UTF-8 text, that many characters at most.
std::string first_columns(const std::string& text, std::size_t count);

// `text` on one line, with control bytes written as \xNN.
std::string one_line(const std::string& text);

}  // namespace cli
