// What a shell may complete a word of the command to.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace cli {

// One suggestion a line, for the last of `words`, which stand behind "fileref" and of which the
// last may be empty or incomplete:
//   =WORD<tab>WHAT   a word, and what it stands for
//   @files PREFIX    PREFIX and a local path
//   @hosts PREFIX    PREFIX and the name of a host that ssh knows
std::vector<std::string> completions(const CLI::App& app, std::vector<std::string> words);

}  // namespace cli
