#include <unistd.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

// The batch file as the client, which has another standard input and descriptors, can open it.
std::string batch_file(const Request& request) {
  if (request.batch_file == "-") throw WrongUse("a batch is run from a file: \"-\" is none");
  const std::string what = "the batch file \"" + request.batch_file + "\"";
  std::error_code error;
  const bool regular = std::filesystem::is_regular_file(request.batch_file, error);
  if (!error && !regular) throw WrongUse(what + " is no regular file");
  const std::filesystem::path path = std::filesystem::canonical(request.batch_file, error);
  if (!error && access(path.c_str(), R_OK) != 0) error = {errno, std::generic_category()};
  if (error) throw std::system_error(error, what);
  return path;
}

}  // namespace

int batch(const Request& request) {
  fileref::Target target = any_target(request);
  if (!target.path.empty() && target.path != "/") {
    throw WrongUse("a batch names its files itself: \"" + request.target +
                   "\" must not have a path");
  }
  target.path.clear();
  std::vector<std::string> options = request.options;
  options.push_back(fileref::option("BATCHFILE", batch_file(request)));
  fileref::Host host(host_options(request));
  host.assign(kFileref, target, options);
  // No exception may pass through the client's dialogue.
  std::exception_ptr failure;
  RecordOutput output("\n");
  host.run_batch(kFileref, [&](std::string_view line) {
    if (failure) return;
    try {
      output.add(line);
      output.flush();
    } catch (...) {
      failure = std::current_exception();
    }
  });
  if (failure) std::rethrow_exception(failure);
  host.deassign(kFileref);
  return kDone;
}

}  // namespace cli
