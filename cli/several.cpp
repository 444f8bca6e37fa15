#include "cli/several.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/session.h"

namespace cli {
namespace {

std::vector<Request> one_by_one(const Request& request) {
  std::vector<Request> made(request.targets.size(), request);
  for (std::size_t i = 0; i < made.size(); ++i) {
    made[i].target = request.targets[i];
    made[i].number = i + 1;
    any_target(made[i]);
  }
  return made;
}

}  // namespace

int each_target(const Request& request, const std::function<int(const Request& one)>& one) {
  int status = kDone;
  for (const Request& each : one_by_one(request)) {
    try {
      status = std::max(status, one(each));
    } catch (const fileref::Failure& failure) {
      const bool is_wrong_use = !failure.option_place().text.empty();
      if (interrupted() || is_wrong_use || request.targets.size() == 1) throw;
      tell(describe(fmt::format("{} {}", request.what_failed, each.target), failure));
      status = kFailed;
    } catch (const Missing& missing) {
      if (request.targets.size() == 1) throw;
      complain(fmt::format("{} {}: {}", request.what_failed, each.target, missing.what()));
      status = kFailed;
    }
  }
  return status;
}

}  // namespace cli
