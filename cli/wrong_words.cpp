#include "cli/wrong_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace cli {
namespace {

// How many characters are to be left out, put in, replaced or swapped with their neighbour.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> of(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        of[i][j] = i + j;
        continue;
      }
      const std::size_t replaced = of[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      of[i][j] = std::min({of[i - 1][j] + 1, of[i][j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) of[i][j] = std::min(of[i][j], of[i - 2][j - 2] + 1);
    }
  }
  return of[a.size()][b.size()];
}

// ": did you mean KNOWN?" with the known word that is nearest to `word`, or nothing when none is
// near.
std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t kShortestWord = 3, kLongestWord = 40;
  if (word.size() < kShortestWord || word.size() > kLongestWord) return {};
  const std::string* nearest = nullptr;
  std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
  for (const std::string& candidate : known) {
    const std::size_t steps = distance(word, candidate);
    if (steps >= std::min(least, candidate.size())) continue;
    least = steps;
    nearest = &candidate;
  }
  return nearest == nullptr ? "" : ": did you mean " + *nearest + "?";
}

// Flags of a command as they are typed.
std::vector<std::string> typed_flags_of(const CLI::App& command) {
  std::vector<std::string> flags;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) flags.push_back("--" + name);
    for (const std::string& name : option->get_snames()) flags.push_back("-" + name);
  }
  return flags;
}

// `word` is one that the command does not take.
std::string fault_of_word(const CLI::App& command, const std::string& word) {
  if (!word.starts_with('-')) return fmt::format("\"{}\" is one argument too many", word);
  const std::string flag = word.substr(0, word.find('='));
  return fmt::format("{} has no flag \"{}\"{}", command.get_name(), flag,
                     suggestion(flag, typed_flags_of(command)));
}

}  // namespace

std::string fault_of_first_word(const CLI::App& app, const std::string& word) {
  std::vector<std::string> known = typed_flags_of(app);
  for (const CLI::App* command : app.get_subcommands({})) known.push_back(command->get_name());
  if (std::find(known.begin(), known.end(), word) != known.end()) return {};
  return fmt::format("there is no command \"{}\"{}", word, suggestion(word, known));
}

std::string fault_of(const CLI::App& app, const CLI::ParseError& error) {
  for (const CLI::App* command : app.get_subcommands()) {
    const std::vector<std::string> left = command->remaining();
    const bool unknown = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    if (unknown && !left.empty()) return fault_of_word(*command, left.front());
  }
  return error.what();
}

}  // namespace cli
