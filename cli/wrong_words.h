// What is wrong with a command line, and what may have been meant.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

// About the first word, which is to be a command or a flag of `app`. Empty: it is one.
std::string fault_of_first_word(const CLI::App& app, const std::string& word);

// About words that were refused.
std::string fault_of(const CLI::App& app, const CLI::ParseError& error);

}  // namespace cli
