// The commands that the module sends.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fileref::runtime {

struct Command {
  enum class Verb { kChangeDirectory, kMakeDirectory, kDownload, kUpload };

  Verb verb;
  std::string remote;      // as the user wrote it: nothing is escaped
  std::string local = {};  // of a transfer
};

// Takes apart `cd "X"`, `mkdir "X"`, `get "X" "Y"` or `put "Y" "X"`, ended by a line feed. X may
// hold any byte, quotes included; Y does not hold `" "`. Returns nothing and says why when the text
// is no such command.
std::optional<Command> parse_command(std::string_view text, std::string* why);

}  // namespace fileref::runtime
