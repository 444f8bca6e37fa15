// When a kill sweep strikes. The settings are in the environment:
//   KILL_LINE    at which line, or request, counted from 1 over all runs in the file KILL_COUNT
//   KILL_VICTIM  "client" or "server"
//   KILL_MOMENT  "before" it is passed on, "after" that at once, or when it was "answered"
#pragma once

#include <cstdlib>
#include <string>

#include "tests/support/process.h"

namespace support {

inline std::string setting(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

inline bool strikes_server() {
  return setting("KILL_VICTIM") == "server";
}

// Counts one more, and returns the moment if it is the one, else nothing.
inline std::string moment_of_the_next() {
  const std::string count_path = setting("KILL_COUNT");
  const int count = std::atoi(read_file(count_path).c_str()) + 1;
  write_file(count_path, std::to_string(count));
  return std::to_string(count) == setting("KILL_LINE") ? setting("KILL_MOMENT") : "";
}

}  // namespace support
