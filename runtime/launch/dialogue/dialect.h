// How one client program is spoken to: the lines that it takes, and what its replies say. No state,
// no process in sight.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/command.h"
#include "runtime/launch/dialogue/framing.h"
#include "runtime/launch/dialogue/listing.h"
#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/dialogue/session.h"
#include "runtime/launch/directory_listing.h"
#include "runtime/launch/selection.h"

namespace fileref::runtime {

// What a client says of the outcome of a command. Evidence counts for more.
enum class Verdict {
  kSuccess,
  kUnclear,  // it may be a complaint, or noise from the server
  kRefused,  // an upload did not begin: the remote file is as it was
  kFailure,
};

class Dialect {
 public:
  virtual ~Dialect() = default;

  // Makes the sentinel that ends the reply to one exchange.
  virtual Sentinel sentinel(const std::string& nonce) const = 0;
  // The line with which the client repeats `line`; empty when it does not.
  virtual std::string echo(std::string_view line) const = 0;
  // What it complains of in a reply, a line each.
  virtual std::string complaint(const Reply& reply) const = 0;

  // Whether a command with that name can be written at all. If not, says why.
  virtual bool can_carry(std::string_view name, std::string* why) const = 0;
  // In bytes, without the line feed. What stands behind it would be another command.
  virtual std::size_t longest_line() const = 0;
  // Whether a path that the client shows so is that path for certain.
  virtual bool shows_exactly(std::string_view path) const = 0;
  // Whether `ls` takes a relative path for a pattern because of what the current directory is
  // called.
  virtual bool expands_directory(std::string_view /*directory*/) const { return false; }
  // Whether it says that it tells of every block of an upload that the server refused.
  virtual bool tells_of_lost_blocks() const = 0;

  // Lines. A path stands for exactly that path; one that begins with "-" must have been through
  // literal_path.
  virtual std::string change_directory(std::string_view path) const = 0;
  virtual std::string make_directory(std::string_view path) const = 0;
  virtual std::string download(std::string_view path, std::string_view local) const = 0;
  virtual std::string upload(std::string_view local, std::string_view path) const = 0;
  // Shows what is there under a path, with kind and size.
  virtual std::string look(std::string_view path) const = 0;
  // Looks on where the reply shows but a link; empty when the client follows links, or there is
  // none.
  virtual std::string look_on(const Reply& /*reply*/, std::string_view /*path*/) const {
    return {};
  }
  // Shows the names in the directory `path` with kinds and sizes; empty when every listing does.
  virtual std::string look_at_all(std::string_view /*path*/) const { return {}; }

  // Tries to enter a directory that does not exist; empty when the client never can.
  virtual std::string enter_missing() const { return {}; }

  // Replies.
  virtual Verdict verdict(Command::Verb verb, const Reply& reply) const = 0;
  // Whether the server let the client do so.
  virtual bool enters_missing(const Reply& /*reply*/) const { return false; }
  // Whether the reply to a look at a directory says that it is not there.
  virtual bool says_missing(const Reply& /*reply*/) const { return false; }
  // The current directory, from the reply to a request that ended in `pwd`; empty: not told.
  virtual std::string working_directory(const Reply& reply) const = 0;
  virtual RemoteFile found(const Reply& reply, std::string_view path) const = 0;
  // The reply to look_at_all. Null when it is not understood.
  virtual std::unique_ptr<DirectoryListing> found_all(const Reply& /*reply*/,
                                                      std::string_view /*path*/) const {
    return nullptr;
  }

  // The operation that answers a listing command.
  virtual std::unique_ptr<Operation> list(Session* session, Selection selection) const = 0;
};

// The path by which no client takes a name for an option.
inline std::string literal_path(std::string_view name) {
  return (name.starts_with('-') ? "./" : "") + std::string(name);
}

}  // namespace fileref::runtime
