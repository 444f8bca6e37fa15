#include <exception>

#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {

int batch(const Request& request) {
  fileref::Target target = any_target(request);
  if (!target.path.empty() && target.path != "/") {
    throw WrongUse("a batch names its files itself: \"" + one_line(request.target) +
                   "\" must not have a path");
  }
  target.path.clear();
  std::vector<std::string> options = request.options;
  options.push_back(fileref::option("BATCHFILE", request.batch_file));
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
