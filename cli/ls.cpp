#include "cli/json_output.h"
#include "cli/record_output.h"
#include "cli/session.h"
#include "cli/several.h"
#include "cli/status_text.h"

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

std::string with_details(const std::string& name, const fileref::FileStatus& status) {
  const std::string size = status.size ? std::to_string(*status.size) : "?";
  return fmt::format("{} {:>12} {:>19} {}", mode_in_letters(status), size, local_time(status),
                     name);
}

// `take` is given each name, and what the listing says of it where that is wanted.
template <class Take>
void for_each_name(const Request& request, Take take) {
  std::vector<std::string> options = request.options;
  const fileref::Target target = directory_of(request, options);
  fileref::Host host(host_options(request));
  host.assign(kFileref, target, options);
  fileref::Input names = host.open(kFileref);
  const bool wants_status = request.details || request.json;
  for (const std::string_view name : names) {
    const std::string kept(name);
    take(kept, wants_status ? names.status() : fileref::FileStatus());
  }
  names.close();
  host.deassign(kFileref);
}

// Several are told apart as by `ls`.
void print_heading(RecordOutput& output, const Request& request, bool* is_first) {
  if (request.targets.size() < 2 || request.nul) return;
  if (!std::exchange(*is_first, false)) output.add("");
  output.add(request.target + ":");
}

int print_names(const Request& request, bool* is_first) {
  RecordOutput output(request.nul ? std::string_view("\0", 1) : "\n");
  bool has_heading = false;
  for_each_name(request, [&](const std::string& name, const fileref::FileStatus& status) {
    if (!std::exchange(has_heading, true)) print_heading(output, request, is_first);
    output.add(request.details ? with_details(name, status) : name);
  });
  if (!has_heading) print_heading(output, request, is_first);
  output.flush();
  return kDone;
}

int collect_names(const Request& request, Json& list) {
  for_each_name(request, [&](const std::string& name, const fileref::FileStatus& status) {
    Json& object = list.emplace_back();
    put_name(object, "name", name);
    put_status(object, status);
    if (request.targets.size() > 1) put_name(object, "target", request.target);
  });
  return kDone;
}

}  // namespace

int ls(const Request& request) {
  if (request.json) {
    auto list = Json::array();
    const int worst =
        each_target(request, [&](const Request& one) { return collect_names(one, list); });
    print_json(list);
    return worst;
  }
  bool is_first = true;
  return each_target(request, [&](const Request& one) { return print_names(one, &is_first); });
}

}  // namespace cli
