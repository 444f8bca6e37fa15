#include "cli/json_output.h"
#include "cli/record_output.h"
#include "cli/session.h"
#include "cli/several.h"
#include "cli/status_text.h"

namespace cli {
namespace {

using fileref::FileStatus;

std::string size_of(const FileStatus& status) {
  return status.size ? std::to_string(*status.size) : "?";
}

std::string mode_of(const FileStatus& status) {
  if (!status.mode) return "?";
  return fmt::format("{:04o} ({})", *status.mode, mode_in_letters(status));
}

void print_lines(const Request& request, const FileStatus& status) {
  RecordOutput output("\n");
  output.add("Target: " + request.target);
  output.add(std::string("Kind: ") + word_for(status.kind) +
             (status.is_link.value_or(false) && status.kind != FileStatus::Kind::kLink
                  ? ", behind a link"
                  : ""));
  output.add("Size: " + size_of(status));
  output.add("Modified: " + local_time(status));
  output.add("Mode: " + mode_of(status));
  output.flush();
}

}  // namespace

FileStatus status_of(fileref::Host& host, const Request& request) {
  host.assign(kFileref, any_target(request), request.options);
  const std::optional<FileStatus> status = host.stat(kFileref);
  if (!status) throw Missing("There is no such file or directory.");
  return *status;
}

int stat(const Request& request) {
  auto list = Json::array();
  const int worst = each_target(request, [&](const Request& one) {
    fileref::Host host(host_options(one));
    const FileStatus status = status_of(host, one);
    if (!one.json) {
      print_lines(one, status);
      return kDone;
    }
    put_name(list.emplace_back(), "target", one.target);
    put_status(list.back(), status);
    return kDone;
  });
  if (request.json) print_json(list);
  return worst;
}

}  // namespace cli
