// The parts of the manual page that follow from the words of the command.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

// Every command with its own options, then those of all commands, then the text below the help, in
// the language of man pages (man(7)): what fileref(1) holds between its prose.
std::string manual_of(const CLI::App& app);

}  // namespace cli
