// Whether a session stands where its user takes it to be: where it began, the same names would
// stand for other files.
#pragma once

#include <string>

#include "runtime/launch/command.h"

namespace fileref::runtime {

class Footing {
 public:
  // False, and why, when the command must not be given: the session was to enter a directory first,
  // and did not get there.
  bool allows(Command::Verb verb, std::string* why);
  // It was tried to enter a directory.
  void entered(bool succeeded);

 private:
  enum class State {
    kFresh,    // no command yet
    kSettled,  // in a directory that it entered, or with a first command that needed none
    kAstray,   // its first command was to enter a directory, and it has entered none
  };

  State state_ = State::kFresh;
};

}  // namespace fileref::runtime
