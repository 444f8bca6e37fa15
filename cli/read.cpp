#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

// The one file of the target, every file that its last part matches, or the named files of its
// directory.
fileref::Target target_of(const Request& request, std::vector<std::string>& options) {
  if (request.names.empty()) {
    fileref::Target target = file_target(request);
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

// Stream records are printed as they come: no program variable counts their bytes.
const std::vector<std::string> kOpenOptions = {"NONBYTE"};

fileref::Input open_input(fileref::Host& host, const Request& request) {
  if (!request.member.empty()) {
    host.assign(kFileref, directory_target(request), member_options(request));
    return host.open_directory(kFileref).open(request.member, request.type, kOpenOptions);
  }
  std::vector<std::string> options = request.options;
  const fileref::Target target = target_of(request, options);
  host.assign(kFileref, target, options);
  return host.open(kFileref, kOpenOptions);
}

}  // namespace

int read(const Request& request) {
  fileref::Host host(host_options(request));
  fileref::Input input = open_input(host, request);
  print_records(input);
  input.close();
  host.deassign(kFileref);
  return kDone;
}

}  // namespace cli
