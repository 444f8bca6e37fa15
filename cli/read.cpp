#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

// The one file of the target, every file that its last part matches, or the named files of its
// directory.
fileref::Target target_of(const Request& request, std::vector<std::string>& options) {
  if (request.names.empty()) {
    const fileref::Target target = file_target(request);
    if (target.is_pattern()) options.emplace_back("MGET");
    return target;
  }
  fileref::Target target = any_target(request);
  if (!target.path.empty() && target.path.back() != '/') {
    throw WrongUse("with --name the target is a directory: \"" + one_line(request.target) +
                   "\" needs a / at its end");
  }
  target.names = request.names;
  return target;
}

}  // namespace

int read(const Request& request) {
  std::vector<std::string> options = request.options;
  const fileref::Target target = target_of(request, options);
  fileref::Host host(host_options(request));
  host.assign(kFileref, target, options);
  // Stream records are printed as they come: no program variable counts their bytes.
  fileref::Input input = host.open(kFileref, {"NONBYTE"});
  RecordOutput output(input.is_stream() ? "" : "\n");
  for (const std::string_view record : input) output.add(record);
  output.flush();
  input.close();
  host.deassign(kFileref);
  return kDone;
}

}  // namespace cli
