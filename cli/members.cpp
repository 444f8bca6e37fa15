#include <unistd.h>

#include <algorithm>

#include "cli/json_output.h"
#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

using fileref::Member;

const char* word_for_member(Member::Kind kind) {
  switch (kind) {
    case Member::Kind::kFile:
      return "file";
    case Member::Kind::kDirectory:
      return "directory";
    case Member::Kind::kUnknown:
      break;
  }
  return "unknown";
}

// What is asked for of a member, the name first.
std::vector<std::string> columns_of(const Member& member, const Request& request) {
  std::vector<std::string> columns = {member.name};
  if (request.split) columns.push_back(member.type);
  if (request.kinds) columns.emplace_back(word_for_member(member.kind));
  return columns;
}

void print_members(const std::vector<Member>& members, const Request& request) {
  auto list = Json::array();
  for (const Member& member : members) {
    Json object;
    put_name(object, "name", member.name);
    if (request.split) put_name(object, "type", member.type);
    if (request.kinds) object["kind"] = word_for_member(member.kind);
    list.push_back(object);
  }
  print_json(list);
}

void print_table(const std::vector<Member>& members, const Request& request) {
  const bool aligned = isatty(STDOUT_FILENO) != 0;
  std::vector<std::vector<std::string>> rows;
  std::vector<std::size_t> widths(3);
  for (const Member& member : members) {
    rows.push_back(columns_of(member, request));
    std::vector<std::string>& row = rows.back();
    for (std::size_t i = 0; aligned && i < row.size(); ++i) {
      row[i] = fileref::printable_name(row[i]);
      widths[i] = std::max(widths[i], columns(row[i]));
    }
  }
  RecordOutput output("\n");
  for (const auto& row : rows) {
    std::string line = row[0];
    for (std::size_t i = 1; i < row.size(); ++i) {
      line += aligned ? std::string(widths[i - 1] - columns(row[i - 1]) + 2, ' ') : "\t";
      line += row[i];
    }
    output.add(line);
  }
  output.flush();
}

}  // namespace

int members(const Request& request) {
  fileref::Host host(host_options(request));
  host.assign(kFileref, directory_target(request), with_options(request, {"DIR"}));
  fileref::Directory directory =
      host.open_directory(kFileref, {.kinds = request.kinds, .split = request.split});
  std::vector<Member> members;
  for (const Member& member : directory) members.push_back(member);
  directory.close();
  if (request.json) {
    print_members(members, request);
  } else {
    print_table(members, request);
  }
  return kDone;
}

}  // namespace cli
