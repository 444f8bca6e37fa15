// One fileref for one target, as every command needs it.
#pragma once

#include <fmt/format.h>

#include "cli/interrupt.h"
#include "cli/log_file.h"
#include "cli/login.h"
#include "cli/progress_line.h"
#include "cli/report.h"
#include "cli/request.h"
#include "fileref/fileref.h"

namespace cli {

constexpr const char* kFileref = "TARGET";

inline fileref::HostOptions host_options(const Request& request) {
  fileref::HostOptions options = request.host;
  log_to(request.log_path, options);
  options.interrupted = interrupted;
  options.warn = complain;
  if (!request.quiet) show_progress(options, request.number, request.targets.size());
  return options;
}

// The target, with the words that reach its server. Throws UsageError.
inline fileref::Target any_target(const Request& request) {
  fileref::Target target = fileref::Target::parse(request.target);
  add_login(request, &target);
  return target;
}

// The target of a command that needs a file.
inline fileref::Target file_target(const Request& request) {
  fileref::Target target = any_target(request);
  if (target.path.empty() || target.path.back() == '/') {
    throw WrongUse("\"" + request.target + "\" names no file");
  }
  return target;
}

// Options of an assignment, those of the user last.
inline std::vector<std::string> with_options(const Request& request,
                                             std::vector<std::string> first) {
  first.insert(first.end(), request.options.begin(), request.options.end());
  return first;
}

// Lets TARGET stand for the target, a file. Whether its last part is the name of that one file: it
// has no wildcards, or its directory shows a file of just that name.
inline bool assign_file(fileref::Host& host, const fileref::Target& target,
                        const Request& request) {
  const bool may_be_several = target.is_pattern() && !request.literal;
  // Refuses what goes with one file only, before the directory is looked at.
  if (may_be_several) host.assign(kFileref, target, with_options(request, {"MGET"}));
  host.assign(kFileref, target, request.options);
  if (request.pattern || !may_be_several) return !request.pattern;
  return host.find(kFileref) == target.last_part();
}

// What is there under the target, which TARGET then stands for. Throws Missing when nothing
// is.
fileref::FileStatus status_of(fileref::Host& host, const Request& request);

// The target as a directory of members; the login directory when it has no path.
inline fileref::Target directory_target(const Request& request) {
  fileref::Target target = any_target(request);
  if (target.path.empty()) target.path = ".";
  return target;
}

// For a member: the options of the assignment.
inline std::vector<std::string> member_options(const Request& request) {
  std::vector<std::string> options = with_options(request, {"DIR"});
  if (!request.type.empty()) options.emplace_back("FILEEXT");
  return options;
}

}  // namespace cli
