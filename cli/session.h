// One fileref for one target, as every command needs it.
#pragma once

#include <fmt/format.h>

#include "cli/log_file.h"
#include "cli/report.h"
#include "cli/request.h"
#include "fileref/fileref.h"

namespace cli {

constexpr const char* kFileref = "TARGET";

inline fileref::HostOptions host_options(const Request& request) {
  fileref::HostOptions options;
  log_to(request.log_path, options);
  options.verify_uploads = request.verify;
  options.warn = [](std::string_view warning) {
    fmt::print(stderr, "fileref: {}\n", one_line(std::string(warning)));
  };
  return options;
}

inline fileref::Target any_target(const Request& request) {
  try {
    return fileref::Target::parse(request.target);
  } catch (const std::invalid_argument& error) {
    throw WrongUse(error.what());
  }
}

// The target of a command that needs a file.
inline fileref::Target file_target(const Request& request) {
  fileref::Target target = any_target(request);
  if (target.path.empty() || target.path.back() == '/') {
    throw WrongUse("\"" + one_line(request.target) + "\" names no file");
  }
  return target;
}

}  // namespace cli
