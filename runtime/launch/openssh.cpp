#include "runtime/launch/openssh.h"

#include <algorithm>

#include "runtime/launch/command.h"
#include "runtime/launch/local_file.h"
#include "runtime/launch/openssh_list.h"
#include "runtime/launch/openssh_operations.h"
#include "runtime/name_escape.h"

namespace fileref::runtime::openssh {
namespace {

std::string quote_with(std::string_view name, std::string_view escaped) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (escaped.find(c) != escaped.npos) quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

bool can_carry(std::string_view name, std::string* why) {
  if (name.find('\n') == name.npos && name.find('\0') == name.npos) return true;
  *why = "a name cannot hold a line feed or a NUL byte";
  return false;
}

bool fits(const std::vector<std::string>& lines, std::string* why) {
  for (const std::string& line : lines) {
    if (line.size() <= kLongestLine) continue;
    *why = "the remote name is too long: its command takes " + std::to_string(line.size()) +
           " bytes, the client reads " + std::to_string(kLongestLine);
    return false;
  }
  return true;
}

}  // namespace

std::string literal_path(std::string_view name) {
  return (name.starts_with('-') ? "./" : "") + std::string(name);
}

std::string quote(std::string_view name) {
  return quote_with(name, "\"\\");
}
std::string quote_for_listing(std::string_view name) {
  return quote_with(name, "\"\\{");
}

Sentinel OpensshAdapter::sentinel(const std::string& nonce) const {
  return {"#" + nonce, "sftp> #" + nonce + "\n"};
}

std::string OpensshAdapter::echo(std::string_view line) const {
  return "sftp> " + std::string(line);
}

std::unique_ptr<Operation> OpensshAdapter::start() {
  return std::make_unique<Start>(&session_);
}

std::unique_ptr<Operation> OpensshAdapter::plan(std::string_view text, std::string* why) {
  std::optional<Command> command = parse_command(text, why);
  if (!command) return nullptr;
  const bool changes_names =
      command->verb == Command::Verb::kMakeDirectory || command->verb == Command::Verb::kUpload;
  if (changes_names) session_.listed.reset();
  command->remote = unescape_name(command->remote);
  if (command->verb == Command::Verb::kList) return plan_list(*command, why);
  command->remote = literal_path(command->remote);
  if (command->verb != Command::Verb::kUpload) return plan_command(*command, why);
  if (!local_size(command->local)) {
    *why = "there is no local file \"" + command->local + "\" to upload";
    return nullptr;
  }
  std::unique_ptr<Operation> upload = plan_command(*command, why);
  if (!upload) *why = explain_failed_upload(session_, *command, *why);
  return upload;
}

std::unique_ptr<Operation> OpensshAdapter::plan_list(const Command& command, std::string* why) {
  if (!can_carry(command.remote, why)) return nullptr;
  std::optional<Selection> selection = select(command.remote, why);
  if (!selection || !fits({list_line(selection->path + "/.")}, why)) return nullptr;
  selection->dot_names = command.dot_names;
  return std::make_unique<List>(&session_, *std::move(selection));
}

std::optional<std::uint64_t> OpensshAdapter::listed_size(const std::string& name) const {
  const bool holds = session_.listed && !session_.directory.empty() &&
                     session_.listed_directory == session_.directory;
  const auto* entry = holds ? session_.listed->find(name) : nullptr;
  if (!entry || entry->type != '-') return std::nullopt;
  return entry->size;
}

std::unique_ptr<Operation> OpensshAdapter::plan_command(const Command& command, std::string* why) {
  if (!can_carry(command.remote, why) || !can_carry(command.local, why)) return nullptr;
  const std::string remote = quote(command.remote);
  const std::string list = "ls -ln " + quote_for_listing(command.remote);
  switch (command.verb) {
    case Command::Verb::kChangeDirectory:
      if (!fits({"cd " + remote}, why)) return nullptr;
      return std::make_unique<ChangeDirectory>(&session_, command.remote, "cd " + remote);
    case Command::Verb::kLeaveDirectory:
      return std::make_unique<LeaveDirectory>(&session_);
    case Command::Verb::kMakeDirectory:
      if (!fits({"mkdir " + remote}, why)) return nullptr;
      return std::make_unique<MakeDirectory>(command.remote, "mkdir " + remote);
    case Command::Verb::kDownload: {
      const std::string part = command.local + ".part";
      const std::string get = "get " + remote + ' ' + quote(part);
      if (!fits({list, get}, why)) return nullptr;
      return std::make_unique<Download>(command, part, list, get, listed_size(command.remote));
    }
    case Command::Verb::kUpload: {
      const std::string copy = command.local + ".sent";
      const std::string put = "put " + quote(command.local) + ' ' + remote;
      const std::string get = "get " + remote + ' ' + quote(copy);
      if (!fits({list, put, get}, why)) return nullptr;
      return std::make_unique<Upload>(&session_, command, copy, list, put, get);
    }
    case Command::Verb::kList:
      break;
  }
  return nullptr;
}

}  // namespace fileref::runtime::openssh
