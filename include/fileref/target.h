// What a fileref stands for, written as one text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fileref {

/// A remote file, directory or pattern. Made from a text by `parse`, or filled in by hand.
struct Target {
  /// The remote path: from the root with a leading "/", else from the login directory.
  std::string path;
  /// Not empty: these files of the directory `path`, in this order, read as one stream.
  std::vector<std::string> names;
  /// Empty: no host is given to the client.
  std::string host;
  /// Empty: the client's own choice.
  std::string user;
  /// Words for the client's command line, right behind the program.
  std::vector<std::string> client_arguments;

  /// Takes "sftp://[USER@]HOST[:PORT]/PATH", where "/~/PATH" is a path from the login directory and
  /// %XX stands for a byte, or "local:PATH", which starts the file server program on this machine
  /// without a network. Throws std::invalid_argument with a sentence when `text` is neither.
  static Target parse(std::string_view text);

  /// What stands behind the last "/" of the path.
  std::string last_part() const;
  /// Whether the last part holds *, ? or [, which make it stand for every name that it matches.
  bool is_pattern() const;
  /// The directory that the last part is in.
  Target parent() const;
};

/// KEYWORD='TEXT', as an option text: option("LSFILE", "it's") is LSFILE='it''s'.
std::string option(std::string_view keyword, std::string_view text);

}  // namespace fileref
