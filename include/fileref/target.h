// What a fileref stands for, written as one text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fileref {

/// A remote file. Made from a text by `parse`, or filled in by hand.
struct Target {
  /// The remote path: from the root with a leading "/", else from the login directory.
  std::string path;
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
};

}  // namespace fileref
