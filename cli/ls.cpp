#include "cli/record_output.h"
#include "cli/session.h"
#include "cli/several.h"

namespace cli {
namespace {

// The directory to list, and how to list it.
fileref::Target directory_of(const Request& request, std::vector<std::string>& options) {
  fileref::Target target = any_target(request);
  options.emplace_back(request.hidden ? "LSA" : "LS");
  if (target.is_pattern()) {
    options.push_back(fileref::option("LSFILE", target.last_part()));
    return target.parent();
  }
  if (!target.path.empty() && target.path.back() != '/') target.path += '/';
  return target;
}

int ls_one(const Request& request) {
  std::vector<std::string> options = request.options;
  const fileref::Target target = directory_of(request, options);
  fileref::Host host(host_options(request));
  host.assign(kFileref, target, options);
  fileref::Input names = host.open(kFileref);
  RecordOutput output(request.nul ? std::string_view("\0", 1) : "\n");
  for (const std::string_view name : names) output.add(name);
  output.flush();
  names.close();
  host.deassign(kFileref);
  return kDone;
}

}  // namespace

int ls(const Request& request) {
  return each_target(request, &ls_one);
}

}  // namespace cli
