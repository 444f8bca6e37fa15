#include "runtime/launch/dialogue/adapter.h"

#include "runtime/launch/dialogue/directories.h"
#include "runtime/launch/dialogue/stat.h"
#include "runtime/launch/dialogue/transfers.h"
#include "runtime/launch/local_file.h"
#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

using Verb = Command::Verb;

bool fits(const Dialect& dialect, const std::vector<std::string>& lines, std::string* why) {
  for (const std::string& line : lines) {
    if (line.size() <= dialect.longest_line()) continue;
    *why = "the remote name is too long: its command takes " + std::to_string(line.size()) +
           " bytes, the client reads " + std::to_string(dialect.longest_line());
    return false;
  }
  return true;
}

// Every line that the command may come to.
std::vector<std::string> lines_for(const Dialect& dialect, const Command& command) {
  switch (command.verb) {
    case Verb::kChangeDirectory:
      return {dialect.change_directory(command.remote)};
    case Verb::kMakeDirectory:
      return {dialect.make_directory(command.remote), dialect.look(command.listed_as)};
    case Verb::kStat:
    case Verb::kListedStat:
      return {dialect.look(command.listed_as)};
    case Verb::kDownload:
      return {dialect.look(command.listed_as),
              dialect.download(command.remote, Download::part_of(command.local))};
    case Verb::kUpload:
      return {dialect.look(command.listed_as), dialect.upload(command.local, command.remote),
              dialect.download(command.remote, Upload::copy_of(command.local))};
    case Verb::kList:
    case Verb::kLeaveDirectory:
      break;
  }
  return {};
}

}  // namespace

std::unique_ptr<Operation> Adapter::start() {
  return std::make_unique<Start>(*dialect_, &session_);
}

std::unique_ptr<Operation> Adapter::plan(std::string_view text, std::string* why) {
  std::optional<Command> command = parse_command(text, why);
  if (!command) return nullptr;
  command->remote = unescape_name(command->remote);
  if (command->verb == Verb::kMakeDirectory || command->verb == Verb::kUpload) {
    session_.listed.reset();
  }
  if (!session_.footing.allows(command->verb, why)) {
    if (command->verb == Verb::kUpload) {
      *why = explain_failed_upload(session_.keep_unsent, *command, *why, false);
    }
    return nullptr;
  }
  if (command->verb == Verb::kList) {
    if (!dialect_->can_carry(command->remote, why)) return nullptr;
    return plan_listing(*command, why);
  }
  const std::string name = command->remote;
  command->remote = literal_path(name);
  if (command->verb == Verb::kUpload && !local_size(command->local)) {
    *why = "there is no local file \"" + command->local + "\" to upload";
    return nullptr;
  }
  if (!prepare(&*command, why)) {
    if (command->verb == Verb::kUpload) {
      *why = explain_failed_upload(session_.keep_unsent, *command, *why, false);
    }
    return nullptr;
  }
  switch (command->verb) {
    case Verb::kChangeDirectory:
      return std::make_unique<ChangeDirectory>(*dialect_, &session_, command->remote);
    case Verb::kLeaveDirectory:
      return std::make_unique<LeaveDirectory>(*dialect_, &session_);
    case Verb::kMakeDirectory:
      return std::make_unique<MakeDirectory>(*dialect_, *command);
    case Verb::kDownload:
      return std::make_unique<Download>(*dialect_, &session_, *command);
    case Verb::kUpload:
      return std::make_unique<Upload>(*dialect_, &session_, *command);
    case Verb::kStat:
    case Verb::kListedStat:
      return std::make_unique<Stat>(*dialect_, &session_, name, *command);
    case Verb::kList:
      break;
  }
  return nullptr;
}

std::unique_ptr<Operation> Adapter::plan_listing(const Command& command, std::string* why) {
  std::optional<Selection> selection = select(command.remote, why);
  if (!selection) return nullptr;
  const auto path = listed_path(*dialect_, session_, selection->path, why);
  if (!path || !fits(*dialect_, {dialect_->look(*path + "/.")}, why)) return nullptr;
  selection->path = *path;
  selection->dot_names = command.dot_names;
  return dialect_->list(&session_, *std::move(selection));
}

bool Adapter::prepare(Command* command, std::string* why) const {
  const auto listed_as = listed_path(*dialect_, session_, command->remote, why);
  if (!listed_as) return false;
  command->listed_as = *listed_as;
  return dialect_->can_carry(command->remote, why) && dialect_->can_carry(command->local, why) &&
         fits(*dialect_, lines_for(*dialect_, *command), why);
}

}  // namespace fileref::runtime
