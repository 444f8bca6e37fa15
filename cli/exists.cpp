#include "cli/session.h"

namespace cli {

int exists(const Request& request) {
  fileref::Host host(host_options(request));
  // Names that begin with a dot exist, too.
  host.assign(kFileref, file_target(request), with_options(request, {"LSA"}));
  if (host.exists(kFileref)) return kDone;
  fmt::print("no\n");
  return kFailed;
}

}  // namespace cli
