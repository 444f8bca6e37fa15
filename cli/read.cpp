#include "cli/record_output.h"
#include "cli/session.h"
#include "cli/several.h"

namespace cli {
namespace {

// Stream records are printed as they come: no program variable counts their bytes.
const std::vector<std::string> kOpenOptions = {"NONBYTE"};

fileref::Input open_member(fileref::Host& host, const Request& request) {
  host.assign(kFileref, directory_target(request), member_options(request));
  return host.open_directory(kFileref).open(*request.member, request.type, kOpenOptions);
}

// The named files of a directory.
fileref::Input open_names(fileref::Host& host, const Request& request) {
  fileref::Target target = any_target(request);
  if (!target.path.empty() && target.path.back() != '/') {
    throw WrongUse("with --name the target is a directory: \"" + request.target +
                   "\" needs a / at its end");
  }
  target.names = request.names;
  host.assign(kFileref, target, request.options);
  return host.open(kFileref, kOpenOptions);
}

// The one file of the target, or every file that its last part matches.
fileref::Input open_target(fileref::Host& host, const Request& request) {
  const bool one_file = assign_file(host, file_target(request), request);
  if (one_file) return host.open(kFileref, kOpenOptions);
  return host.open(kFileref, {"MGET", "NONBYTE"});
}

fileref::Input open_input(fileref::Host& host, const Request& request) {
  if (request.member) return open_member(host, request);
  return request.names.empty() ? open_target(host, request) : open_names(host, request);
}

// What was skipped was told, and fails the command in the end. `open_line`: what was printed so far
// ends in a line without a line feed.
int read_one(const Request& request, bool* open_line) {
  fileref::Host host(host_options(request));
  fileref::Input input = open_input(host, request);
  print_records(input, open_line);
  const bool whole = input.skipped().empty();
  input.close();
  host.deassign(kFileref);
  return whole ? kDone : kFailed;
}

}  // namespace

int read(const Request& request) {
  bool open_line = false;
  return each_target(request, [&](const Request& one) { return read_one(one, &open_line); });
}

}  // namespace cli
