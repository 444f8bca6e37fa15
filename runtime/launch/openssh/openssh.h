// The OpenSSH client `sftp`.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/openssh/unclear_name.h"

namespace fileref::runtime::openssh {

// A path as an argument that stands for exactly this path.
std::string quote(std::string_view name);
// The same for `ls`, which expands braces even between quotes.
std::string quote_for_listing(std::string_view name);

// The line that lists the names at `path`, the current directory when it is empty. Each is shown
// behind at least one slash, which no name can hold: so the second line of a name with a line feed
// passes for no name.
std::string list_names(std::string_view path);

// What stands in a reply's output behind the echo of its one line.
std::string_view behind_echo(std::string_view out);

class OpensshDialect : public Dialect {
 public:
  Sentinel sentinel(const std::string& nonce) const override;
  std::string echo(std::string_view line) const override;
  std::string complaint(const Reply& reply) const override { return reply.err; }

  bool can_carry(std::string_view name, std::string* why) const override;
  std::size_t longest_line() const override { return 2046; }
  bool shows_exactly(std::string_view path) const override { return hidden_bytes(path) == 0; }
  // It puts its directory before the path, and expands braces in both.
  bool expands_directory(std::string_view directory) const override {
    return directory.find('{') != directory.npos;
  }
  bool tells_of_lost_blocks() const override { return false; }

  std::string change_directory(std::string_view path) const override;
  std::string make_directory(std::string_view path) const override;
  std::string download(std::string_view path, std::string_view local) const override;
  std::string upload(std::string_view local, std::string_view path) const override;
  std::string look(std::string_view path) const override;
  std::string look_at_all(std::string_view path) const override;

  Verdict verdict(Command::Verb verb, const Reply& reply) const override;
  std::string working_directory(const Reply& reply) const override;
  RemoteFile found(const Reply& reply, std::string_view path) const override;
  std::unique_ptr<DirectoryListing> found_all(const Reply& reply,
                                              std::string_view path) const override;

  std::unique_ptr<Operation> list(Session* session, Selection selection) const override;
};

}  // namespace fileref::runtime::openssh
