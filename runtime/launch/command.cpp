#include "runtime/launch/command.h"

#include <array>

namespace fileref::runtime {
namespace {

using Verb = Command::Verb;

struct Form {
  std::string_view opening;
  Verb verb;
};

constexpr std::array<Form, 6> kForms{{{"cd \"", Verb::kChangeDirectory},
                                      {"mkdir \"", Verb::kMakeDirectory},
                                      {"get \"", Verb::kDownload},
                                      {"put \"", Verb::kUpload},
                                      {"stat \"", Verb::kStat},
                                      {"lstat \"", Verb::kListedStat}}};
constexpr std::string_view kLeave = "cd ..";
constexpr std::string_view kList = "ls ";
constexpr std::string_view kAll = "-a ";
constexpr std::string_view kBetweenNames = "\" \"";

std::optional<Command> names_of(Verb verb, std::string_view names) {
  const bool download = verb == Verb::kDownload;
  if (!download && verb != Verb::kUpload) return Command{verb, std::string(names)};
  const std::size_t gap = download ? names.rfind(kBetweenNames) : names.find(kBetweenNames);
  if (gap == names.npos) return std::nullopt;
  std::string first(names.substr(0, gap));
  std::string second(names.substr(gap + kBetweenNames.size()));
  if (download) return Command{verb, std::move(first), std::move(second)};
  return Command{verb, std::move(second), std::move(first)};
}

}  // namespace

std::optional<Command> parse_command(std::string_view text, std::string* why) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.starts_with(kList)) {
    const std::string_view names = text.substr(kList.size());
    if (names == kAll) return Command{Verb::kList, {}, {}, true};
    return Command{Verb::kList, std::string(names)};
  }
  if (text == kLeave) return Command{Verb::kLeaveDirectory, {}};
  for (const Form& form : kForms) {
    if (!text.starts_with(form.opening) || !text.ends_with('"')) continue;
    std::string_view names = text.substr(form.opening.size());
    if (names.empty()) break;
    names.remove_suffix(1);
    if (std::optional<Command> command = names_of(form.verb, names)) return command;
  }
  *why = "\"" + std::string(text) + "\" is no command for this client";
  return std::nullopt;
}

}  // namespace fileref::runtime
