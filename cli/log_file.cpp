#include "cli/log_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "cli/report.h"

namespace cli {

void log_to(const std::string& path, fileref::HostOptions& options) {
  if (path.empty()) return;
  const std::shared_ptr<std::FILE> file(std::fopen(path.c_str(), "ae"), [](std::FILE* open) {
    if (open != nullptr) std::fclose(open);
  });
  if (!file) {
    throw WrongUse(fmt::format("the log file \"{}\" cannot be written: {}", path,
                               std::generic_category().message(errno)));
  }
  options.log = [file](std::string_view line) {
    fmt::print(file.get(), "{}\n", line);
    std::fflush(file.get());
  };
}

}  // namespace cli
