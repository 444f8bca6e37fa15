#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/record_output.h"
#include "cli/session.h"

namespace cli {
namespace {

using fileref::Member;

const char* word_for(Member::Kind kind) {
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
  if (request.kinds) columns.emplace_back(word_for(member.kind));
  return columns;
}

// A name that is no UTF-8 cannot stand in JSON as it is; its bytes then stand beside it.
void put(nlohmann::ordered_json& object, const char* key, const std::string& name) {
  const auto replace = nlohmann::ordered_json::error_handler_t::replace;
  const std::string shown = nlohmann::ordered_json(name).dump(-1, ' ', false, replace);
  object[key] = nlohmann::ordered_json::parse(shown);
  if (object[key].get<std::string>() == name) return;
  std::vector<int> bytes;
  for (const char c : name) bytes.push_back(static_cast<unsigned char>(c));
  object[std::string(key) + "_bytes"] = bytes;
}

void print_json(const std::vector<Member>& members, const Request& request) {
  auto list = nlohmann::ordered_json::array();
  for (const Member& member : members) {
    nlohmann::ordered_json object;
    put(object, "name", member.name);
    if (request.split) put(object, "type", member.type);
    if (request.kinds) object["kind"] = word_for(member.kind);
    list.push_back(object);
  }
  RecordOutput output("\n");
  // In ASCII, so that nothing in it drives a terminal.
  const std::string text = list.dump(2, ' ', true);
  for (const std::string_view line : lines_of(text)) output.add(line);
  output.flush();
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
    print_json(members, request);
  } else {
    print_table(members, request);
  }
  return kDone;
}

}  // namespace cli
