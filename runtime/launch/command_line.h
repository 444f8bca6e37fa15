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

// The line that these words come of.
std::string joined_words(const std::vector<std::string>& words);

// Why the value of an option HOST, HOSTNAME, USER, PATH or BATCHFILE cannot stand on the command
// line as that one thing: as another word, an option, a remote path, or a command of the shells
// that clients start for a proxy. Empty when it can, and for every other keyword.
std::string why_unfit(std::string_view keyword, std::string_view value);

// The same for the last word, "HOST" or "USER@HOST".
std::string why_unfit_login(std::string_view login);

}  // namespace fileref::runtime
