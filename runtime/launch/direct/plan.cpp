#include "runtime/launch/direct/plan.h"

#include <utility>

#include "runtime/launch/command.h"
#include "runtime/launch/dialogue/transfers.h"
#include "runtime/launch/direct/directories.h"
#include "runtime/launch/direct/get.h"
#include "runtime/launch/direct/list.h"
#include "runtime/launch/direct/put.h"
#include "runtime/launch/direct/stat.h"
#include "runtime/name_escape.h"

namespace fileref::runtime::direct {
namespace {

using Verb = Command::Verb;

constexpr std::size_t kLongestPath = 4096;  // of nearly every file system, in bytes

// An upload changes files, and who lists a directory wants to see it as it is now.
bool outdates_what_was_fetched(Verb verb) {
  return verb == Verb::kUpload || verb == Verb::kList;
}

bool can_be_asked(const Session& session, const Command& command, std::string* why) {
  if (command.remote.find('\0') != command.remote.npos) {
    *why = "a remote name cannot hold a NUL byte";
  } else if (command.remote.size() > kLongestPath) {
    *why = "the remote name is too long: " + std::to_string(command.remote.size()) + " bytes";
  } else if (command.verb == Verb::kUpload && !session.has_local(command.local)) {
    *why = "there is no local file \"" + command.local + "\" to upload";
  } else {
    return true;
  }
  return false;
}

std::unique_ptr<Operation> plan_listing(const Command& command, Session* session,
                                        std::string* why) {
  std::optional<Selection> selection = select(command.remote, why);
  if (!selection) return nullptr;
  selection->dot_names = command.dot_names;
  return std::make_unique<List>(session, *std::move(selection));
}

}  // namespace

std::unique_ptr<Operation> plan(std::string_view text, Session* session, FetchAhead* ahead,
                                std::string* why) {
  if (text.substr(0, text.size() - 1).find('\n') != text.npos) {
    *why = "a command cannot hold a line feed";
    return nullptr;
  }
  std::optional<Command> command = parse_command(text, why);
  if (!command) return nullptr;
  command->remote = unescape_name(command->remote);
  if (!session->footing.allows(command->verb, why) || !can_be_asked(*session, *command, why)) {
    const bool keeps = command->verb == Verb::kUpload && session->has_local(command->local);
    if (keeps) *why = explain_failed_upload(session->keep_unsent, *command, *why, false);
    return nullptr;
  }
  if (outdates_what_was_fetched(command->verb)) ahead->drop();
  switch (command->verb) {
    case Verb::kChangeDirectory:
      return std::make_unique<ChangeDirectory>(session, command->remote);
    case Verb::kLeaveDirectory:
      return std::make_unique<LeaveDirectory>(session);
    case Verb::kMakeDirectory:
      session->listed.reset();
      return std::make_unique<MakeDirectory>(*session, command->remote);
    case Verb::kDownload:
      return std::make_unique<Get>(session, ahead, *std::move(command));
    case Verb::kUpload:
      session->listed.reset();
      return std::make_unique<Put>(session, *std::move(command));
    case Verb::kStat:
    case Verb::kListedStat:
      return std::make_unique<Stat>(*session, *std::move(command));
    case Verb::kList:
      break;
  }
  return plan_listing(*command, session, why);
}

}  // namespace fileref::runtime::direct
