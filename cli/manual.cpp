#include "cli/manual.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/command_line.h"
#include "cli/report.h"

namespace cli {
namespace {

using Options = std::vector<const CLI::Option*>;

// A text as it is, on a page.
std::string escaped(std::string_view text) {
  std::string page;
  for (const char c : text) {
    const bool begins_line = page.empty() || page.back() == '\n';
    if (begins_line && (c == '.' || c == '\'')) page += "\\&";
    if (c == '\\') {
      page += "\\e";
    } else if (c == '-' || c == '~' || c == '^' || c == '`' || c == '\'') {
      page += c == '-'   ? "\\-"
              : c == '~' ? "\\(ti"
              : c == '^' ? "\\(ha"
              : c == '`' ? "\\(ga"
                         : "\\(aq";
    } else {
      page += c;
    }
  }
  return page;
}

// Indented lines stay lines, others flow, and an empty one parts paragraphs.
std::string flowing(const std::string& text) {
  std::string page;
  bool fixed = false;
  for (const std::string_view line : lines_of(text)) {
    const bool indented = line.starts_with(' ');
    if (indented != fixed) page += indented ? ".PP\n.nf\n" : ".fi\n";
    fixed = indented;
    page += line.empty() ? ".PP\n" : escaped(line) + "\n";
  }
  return page + (fixed ? ".fi\n" : "");
}

std::string names_of(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("\\fB\\-" + name + "\\fR");
  for (const std::string& name : option.get_lnames()) {
    names.push_back("\\fB\\-\\-" + escaped(name) + "\\fR");
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

std::string entry(const CLI::Option& option) {
  std::string value = option.get_option_text();
  if (value.empty()) value = option.get_type_name();
  value = value.substr(0, value.find(':'));
  if (option.get_items_expected_max() == 0) value.clear();
  return fmt::format(".TP\n{}{}\n{}\n", names_of(option),
                     value.empty() ? "" : " \\fI" + escaped(value) + "\\fR",
                     escaped(option.get_description()));
}

Options flags_of(const CLI::App& command) {
  Options all =
      command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
  return all;
}

bool is_in(const CLI::App& command, const CLI::Option& flag) {
  return std::ranges::any_of(flags_of(command), [&](const CLI::Option* other) {
    return other->get_name(false, true) == flag.get_name(false, true) &&
           other->get_description() == flag.get_description();
  });
}

bool is_in_all(const CLI::App& app, const CLI::Option& flag) {
  return std::ranges::all_of(app.get_subcommands({}),
                             [&](const CLI::App* command) { return is_in(*command, flag); });
}

std::string positionals_of(const CLI::App& command) {
  std::string words;
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    words += " \\fI" + escaped(words_of_positional(*option)) + "\\fR";
  }
  return words;
}

// The help of the program without the options, which have a section of their own.
std::string about_targets(const CLI::App& app) {
  const std::string footer = app.get_footer();
  const std::size_t targets = footer.find("\nTargets:");
  return footer.substr(targets == footer.npos ? 0 : targets + 1);
}

// What stands below the help of a command alone.
std::string own_footer(const CLI::App& app, const CLI::App& command) {
  std::string footer = command.get_footer();
  if (footer.ends_with(app.get_footer())) footer.resize(footer.size() - app.get_footer().size());
  footer.resize(std::min(footer.size(), footer.find("\nMore options, targets")));
  const std::size_t first = footer.find_first_not_of('\n');
  return first == footer.npos ? ""
                              : footer.substr(first, footer.find_last_not_of('\n') + 1 - first);
}

std::string section(const CLI::App& app, const CLI::App& command) {
  std::string page =
      fmt::format(".SS \"{}\"\n\\fBfileref {}\\fR [\\fIoptions\\fR]{}\n.PP\n{}.\n.PP\n{}",
                  command.get_name(), command.get_name(), positionals_of(command),
                  escaped(command.get_description()), flowing(own_footer(app, command)));
  for (const CLI::Option* flag : flags_of(command)) {
    if (!is_in_all(app, *flag)) page += entry(*flag);
  }
  return page;
}

}  // namespace

std::string manual_of(const CLI::App& app) {
  std::string page = ".SH COMMANDS\n";
  const auto commands = app.get_subcommands({});
  for (const CLI::App* command : commands) page += section(app, *command);
  page += ".SH OPTIONS\nOf every command:\n";
  for (const CLI::Option* flag : flags_of(*commands.front())) {
    if (is_in_all(app, *flag)) page += entry(*flag);
  }
  page += ".PP\nInstead of a command:\n";
  for (const CLI::Option* flag : flags_of(app)) page += entry(*flag);
  return page + ".SH TARGETS AND ASSIGNMENT OPTIONS\n" + flowing(about_targets(app));
}

}  // namespace cli
