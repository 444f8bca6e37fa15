// What a fileref stands for, written as one text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fileref {

/// A remote file, directory or pattern. Made from a text by `parse`, or filled in by hand;
/// Host::assign refuses what cannot be handed to a client as it is.
struct Target {
  /// The remote path: from the root with a leading "/", else from the login directory.
  std::string path;
  /// Not empty: these files of the directory `path`, in this order, read as one stream.
  std::vector<std::string> names;
  /// A name or an address, an IPv6 one in brackets. Empty: no host is given to the client.
  std::string host;
  /// A login name alone, never with a password. Empty: the client's own choice.
  std::string user;
  /// Words for the client's command line, right behind the program: with these the program decides
  /// what is run.
  std::vector<std::string> client_arguments;

  /// Takes "sftp://[USER@]HOST[:PORT]/PATH", where "/~/PATH" is a path from the login directory and
  /// %XX stands for a byte, or "local:PATH", which starts the file server program on this machine
  /// without a network. Throws UsageError when `text` is neither, or `check` would.
  static Target parse(std::string_view text);

  /// Throws UsageError when a part could not reach the client as what it is: a host or user of
  /// several words or that looks like an option, a password, a zero byte.
  void check() const;

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
