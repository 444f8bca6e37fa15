// JSON on standard output.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

// A name that is no UTF-8 cannot stand in JSON as it is; its bytes then stand beside it.
void put_name(Json& object, const char* key, const std::string& name);

// In ASCII, so that nothing in it drives a terminal.
void print_json(const Json& json);

}  // namespace cli
