// Commands that take several targets.
#pragma once

#include <functional>

#include "cli/request.h"
#include "fileref/failure.h"

namespace cli {

// The server shows nothing under a target.
class Missing : public fileref::Error {
 public:
  using Error::Error;
};

// Runs `one` for each target, and tells of each whose access failed; the others are dealt with all
// the same. Returns the worst status. Throws WrongUse before any when one of them is no target, and
// what is wrong with more than a target.
int each_target(const Request& request, const std::function<int(const Request& one)>& one);

}  // namespace cli
