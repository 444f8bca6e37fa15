#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

std::vector<fileref::InfoLine> lines_of(fileref::Host& host, const Request& request) {
  const fileref::Target target = any_target(request);
  if (!target.path.empty() && target.path.back() != '/') {
    status_of(host, request);
    return host.info(kFileref);
  }
  host.assign(kFileref, directory_target(request), with_options(request, {"DIR"}));
  return host.open_directory(kFileref).info();
}

}  // namespace

int info(const Request& request) {
  fileref::Host host(host_options(request));
  RecordOutput output("\n");
  for (const fileref::InfoLine& line : lines_of(host, request)) {
    output.add(line.label + ": " + line.value);
  }
  output.flush();
  return kDone;
}

}  // namespace cli
