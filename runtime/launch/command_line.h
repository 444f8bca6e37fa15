// Splits a command line into words, so that a program can be run without a shell.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fileref::runtime {

// Splits at blanks, tabs and line feeds by the shell's quoting rules: single quotes keep
// everything, double quotes keep all but `\"`, `\\`, `\$` and "\`", a backslash keeps the next
// byte. Nothing is expanded. Returns nothing, and says why, when a quote is not closed, a backslash
// ends the line or the line holds a NUL.
std::optional<std::vector<std::string>> split_words(std::string_view line, std::string* why);

}  // namespace fileref::runtime
