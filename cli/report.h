// Tells the user what went wrong.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/failure.h"

namespace cli {

// The command was used wrongly.
using WrongUse = fileref::UsageError;

// The block for a failure: what failed, the sentence, the code, the client's own words; for a wrong
// option its text with the place underlined. Of another error what failed, and why. Ends in a line
// feed.
std::string describe(const std::string& what_failed, const fileref::Failure& failure);
std::string describe(const std::string& what_failed, const std::exception& error);

// Writes "fileref: TEXT" to standard error, on one line.
void complain(std::string_view text);
// Writes to standard error. Where that fails, there is nobody to tell.
void tell(const std::string& text) noexcept;

// `text` without the passwords and secret options that stand in it.
std::string without_secrets(const std::string& text);

// The lines of a text, without their line feeds.
std::vector<std::string_view> lines_of(std::string_view text);
std::vector<std::string_view> lines_of(std::string&& text) = delete;  // they would outlive it

// Characters of a UTF-8 text.
std::size_t columns(std::string_view text);

// The beginning of a UTF-8 text, that many characters at most.
std::string first_columns(const std::string& text, std::size_t count);

}  // namespace cli
