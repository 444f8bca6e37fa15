// The commands, and the words that each takes.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/request.h"

namespace cli {

struct Command {
  const char* name;
  const char* summary;
  const char* help;
  const char* examples;  // two lines
  const char* what_failed;
  int (*run)(const Request&);
  void (*add_words)(CLI::App&, Request&);  // its own: its targets, and its flags
};

// "TARGET...": how a word that is no flag is shown. The last of the words SOURCE is the TARGET.
std::string words_of_positional(const CLI::Option& word);

// Makes `app` take every command. Parsing fills in `request` and `*chosen`; both must outlive it.
void add_commands(CLI::App& app, Request& request, const Command** chosen);

}  // namespace cli
