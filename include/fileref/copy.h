// Copies files, bytes as they are, between servers and this machine.
//
//   fileref::copy({fileref::Place::parse("sftp://srv/data/*.csv")}, fileref::Place::parse("in/"));
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/failure.h"
#include "fileref/host.h"
#include "fileref/target.h"

namespace fileref {

/// Where files are copied from or to: a target, or a path of this machine.
struct Place {
  std::optional<Target> target;
  std::string path;  ///< without a target: a name as it is, never a pattern
  std::string text;  ///< as it is told of

  /// Takes what Target::parse takes, and else a path. Throws UsageError as that does, and for a
  /// path that looks like a server's (HOST:PATH, other://...): with "./" in front it is one of
  /// this machine.
  static Place parse(std::string_view text);

  bool is_on_server() const { return target && !target->host.empty(); }
};

struct CopyOptions {
  /// With `progress` its function is told which file of how many it is.
  HostOptions host = {};
  /// For every server, as in an assignment: words for its client. What says which files there are
  /// and how they are read is refused.
  std::vector<std::string> options = {};
  /// Takes *, ? and [ in a last part as they are.
  bool literal = false;
  /// Is told of each file that could not be copied, and why; the others are copied all the same.
  /// Not set: the first failure ends the copying, and is thrown.
  std::function<void(const std::string& source, const Error& error)> failed = {};
};

/// Copies files into `target`, or onto it when it is no directory and `sources` stand for one file.
/// A pattern in the last part of a source stands for what it matches, unless a file has just that
/// name. Nothing half-done is left: here a file takes the place of the old one when it is whole,
/// with the old one's mode, and behind a link; on a server it is sent when all of it was read, as
/// Output::close does. A file is not copied onto itself, nor onto one that was copied just before.
/// Returns how many files were copied. Throws UsageError when nothing can be copied like that, and
/// Failure when the target cannot be reached.
std::size_t copy(const std::vector<Place>& sources, const Place& target,
                 const CopyOptions& options = {});

}  // namespace fileref
