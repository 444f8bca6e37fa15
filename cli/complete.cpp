#include "cli/complete.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace cli {
namespace {

class Completer {
 public:
  Completer(const CLI::App& app, std::vector<std::string> words)
      : app_(app), word_(words.empty() ? "" : words.back()) {
    if (!words.empty()) words.pop_back();
    if (words.empty()) {
      add_commands();
      return;
    }
    const std::string name = words.front();
    words.erase(words.begin());
    for (const CLI::App* command : app_.get_subcommands({})) {
      if (command->get_name() == name) add_words_of(*command, words);
    }
  }
  std::vector<std::string> found;

 private:
  void add(const std::string& word, const std::string& what) {
    if (word.starts_with(word_))
      found.push_back("=" + word + "\t" + what.substr(0, what.find('\n')));
  }

  void add_commands() {
    for (const CLI::App* command : app_.get_subcommands({})) {
      add(command->get_name(), command->get_description());
    }
    add_flags(app_);
  }

  void add_flags(const CLI::App& command) {
    if (!word_.starts_with('-')) return;
    for (const CLI::Option* option : command.get_options()) {
      for (const std::string& name : option->get_lnames()) {
        add("--" + name, option->get_description());
      }
      for (const std::string& name : option->get_snames()) {
        add("-" + name, option->get_description());
      }
    }
  }

  void add_words_of(const CLI::App& command, const std::vector<std::string>& before) {
    std::size_t given = 0;
    const CLI::Option* awaits_value = nullptr;
    bool flags_ended = false;
    for (const std::string& word : before) {
      if (awaits_value != nullptr) {
        awaits_value = nullptr;
      } else if (word == "--") {
        flags_ended = true;
      } else if (!flags_ended && word.starts_with('-')) {
        awaits_value = word.find('=') == word.npos ? option_with_value(command, word) : nullptr;
      } else {
        ++given;
      }
    }
    if (awaits_value != nullptr) return add_values(*awaits_value, "");
    const std::size_t equals = word_.find('=');
    if (word_.starts_with("--") && equals != word_.npos && !flags_ended) {
      const CLI::Option* option = option_with_value(command, word_.substr(0, equals));
      if (option != nullptr) add_values(*option, word_.substr(0, equals + 1));
      return;
    }
    if (!flags_ended) add_flags(command);
    if (!word_.starts_with('-')) add_positional(command, given);
  }

  static const CLI::Option* option_with_value(const CLI::App& command, const std::string& flag) {
    const CLI::Option* option = command.get_option_no_throw(flag);
    return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
  }

  // As the option's type says: one of "NAME:{a,b}", a file, a host, or options of an assignment.
  void add_values(const CLI::Option& option, const std::string& prefix) {
    const std::string type = option.get_type_name();
    const std::string rest = word_.substr(prefix.size());
    if (const std::size_t open = type.find('{'); open != type.npos) {
      std::istringstream choices(type.substr(open + 1, type.find('}') - open - 1));
      for (std::string choice; std::getline(choices, choice, ',');) add(prefix + choice, "");
    } else if (type == "FILE" || type == "KEY" || type == "CONFIG") {
      found.push_back("@files " + prefix);
    } else if (type == "HOST") {
      add_hosts(prefix, rest);
    } else if (option.check_sname("o")) {
      add_assignment_options(prefix);
    }
  }

  // Those that the help lists: "  KEYWORD=A|B|C   what it does".
  void add_assignment_options(const std::string& prefix) {
    if (word_.starts_with(prefix + "@")) return found.push_back("@files " + prefix + "@");
    std::istringstream lines(app_.get_footer());
    for (std::string line; std::getline(lines, line);) {
      std::istringstream fields(line);
      std::string word, what;
      fields >> word;
      std::getline(fields >> std::ws, what);
      const std::string keyword = word.substr(0, word.find('='));
      const bool is_keyword =
          line.starts_with("  ") && !keyword.empty() &&
          keyword.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == keyword.npos;
      if (is_keyword) add_assignment_option(prefix + keyword, word.substr(keyword.size()), what);
    }
  }

  void add_assignment_option(const std::string& keyword, const std::string& value,
                             const std::string& what) {
    if (value.empty()) return add(keyword, what);
    const std::string opening = keyword + "=";
    if (value.find('|') == value.npos) return add(opening, what);
    std::istringstream choices(value.substr(1));
    for (std::string choice; std::getline(choices, choice, '|');) add(opening + choice, what);
  }

  void add_positional(const CLI::App& command, std::size_t given) {
    std::vector<const CLI::Option*> positionals =
        command.get_options([](const CLI::Option* option) { return option->get_positional(); });
    if (positionals.empty()) return;
    const CLI::Option* last = positionals.back();
    if (given >= positionals.size() && last->get_items_expected_max() < 2) return;
    const CLI::Option* here = positionals[std::min(given, positionals.size() - 1)];
    const bool paths_too = positionals.front()->get_name(true) == "SOURCE";
    if (here->get_name(true) != "FILE") add_targets();
    const bool is_target = word_.starts_with("sftp://") || word_.starts_with("local:");
    if (here->get_name(true) == "FILE" || (paths_too && !is_target)) found.push_back("@files ");
  }

  void add_targets() {
    constexpr std::string_view kServer = "sftp://", kHere = "local:";
    if (word_.starts_with(kHere)) return found.push_back("@files local:");
    if (word_.starts_with(kServer))
      return add_hosts(std::string(kServer), word_.substr(kServer.size()));
    add(std::string(kServer), "A file on a server");
    add(std::string(kHere), "A file here");
  }

  void add_hosts(const std::string& prefix, const std::string& begun) {
    if (begun.find('/') != begun.npos) return;
    found.push_back("@hosts " + prefix + begun.substr(0, begun.find('@') + 1));
  }

  const CLI::App& app_;
  const std::string word_;  // to be completed
};

}  // namespace

std::vector<std::string> completions(const CLI::App& app, std::vector<std::string> words) {
  return Completer(app, std::move(words)).found;
}

}  // namespace cli
