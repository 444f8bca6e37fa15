// The commands that the module sends, and `stat` and `lstat`, which the host adds.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fileref::runtime {

struct Command {
  enum class Verb {
    kChangeDirectory,
    kMakeDirectory,
    kDownload,
    kUpload,
    kList,
    kLeaveDirectory,
    kStat,
    kListedStat
  };

  Verb verb;
  std::string remote;          // as it was written: nothing in it is quoted
  std::string local = {};      // of a transfer
  bool dot_names = false;      // of a listing: with the names that begin with a dot
  std::string listed_as = {};  // the path by which `ls` is asked for `remote`
};

// Takes apart `stat "X"`, `lstat "X"`, `cd "X"`, `mkdir "X"`, `get "X" "Y"`, `put "Y" "X"`, `ls X`,
// `ls `, `ls -a ` or `cd
// ..`, ended by a line feed. X may hold any byte, quotes included; Y does not hold `" "`. Returns
// nothing and says why when the text is no such command.
std::optional<Command> parse_command(std::string_view text, std::string* why);

}  // namespace fileref::runtime
