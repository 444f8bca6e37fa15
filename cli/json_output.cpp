#include "cli/json_output.h"

#include <vector>

#include "cli/record_output.h"
#include "cli/report.h"

namespace cli {

void put_name(Json& object, const char* key, const std::string& name) {
  const std::string shown = Json(name).dump(-1, ' ', false, Json::error_handler_t::replace);
  object[key] = Json::parse(shown);
  if (object[key].get<std::string>() == name) return;
  std::vector<int> bytes;
  for (const char c : name) bytes.push_back(static_cast<unsigned char>(c));
  object[std::string(key) + "_bytes"] = bytes;
}

void print_json(const Json& json) {
  RecordOutput output("\n");
  const std::string text = json.dump(2, ' ', true);
  for (const std::string_view line : lines_of(text)) output.add(line);
  output.flush();
}

}  // namespace cli
