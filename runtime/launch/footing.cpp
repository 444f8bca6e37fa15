#include "runtime/launch/footing.h"

namespace fileref::runtime {

bool Footing::allows(Command::Verb verb, std::string* why) {
  using Verb = Command::Verb;
  const bool makes_way = verb == Verb::kChangeDirectory || verb == Verb::kMakeDirectory ||
                         verb == Verb::kLeaveDirectory;
  if (makes_way) return true;
  if (state_ == State::kFresh) state_ = State::kSettled;
  *why = "the session did not get into the directory that it was to enter first";
  return state_ == State::kSettled;
}

void Footing::entered(bool succeeded) {
  if (succeeded) state_ = State::kSettled;
  if (state_ == State::kFresh) state_ = State::kAstray;
}

}  // namespace fileref::runtime
