#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {

int exists(const Request& request) {
  fileref::Host host(host_options(request));
  const fileref::Target target = file_target(request);
  host.assign(kFileref, target, request.options);
  const std::optional<std::string> found = host.find(kFileref);
  RecordOutput output("\n");
  if (!found) output.add("no");
  if (found && *found != target.last_part()) output.add("yes, as " + *found);
  output.flush();
  return found ? kDone : kFailed;
}

}  // namespace cli
