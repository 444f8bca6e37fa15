// PuTTY's client `psftp`. It says everything on its standard output and has a text of its own for
// each success. It deletes from names what it does not want to print, and shows what is there only
// as a listing of a directory; but its patterns are matched with the true names, byte by byte.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"

namespace fileref::runtime::psftp {

// A path as an argument that stands for exactly this path, but not for `ls`.
std::string quote(std::string_view name);

// The line that lists the directory `path`, the current one when it is empty.
std::string list_names(std::string_view path);
// The lines that list the names in it that match `pattern`, and what `path` names. Nothing when the
// client cannot be asked: it takes wildcards in the path before a pattern for wildcards.
std::optional<std::string> list_matches(std::string_view path, std::string_view pattern);
std::optional<std::string> list_only(std::string_view path);

// What `ls` replied.
struct Listed {
  std::string_view directory;  // its true path, as the client shows it
  std::string_view complaint;  // why it is not listed, or not to its end
  std::string_view lines;      // the entries
};
// Nothing when it is no reply to a single `ls`.
std::optional<Listed> read_listed(std::string_view out);

class PsftpDialect : public Dialect {
 public:
  Sentinel sentinel(const std::string& nonce) const override;
  std::string echo(std::string_view line) const override;
  std::string complaint(const Reply& reply) const override;

  bool can_carry(std::string_view name, std::string* why) const override;
  std::size_t longest_line() const override { return std::size_t{16} << 10; }
  bool shows_exactly(std::string_view /*path*/) const override { return false; }
  bool tells_of_lost_blocks() const override { return true; }

  std::string change_directory(std::string_view path) const override;
  std::string make_directory(std::string_view path) const override;
  std::string download(std::string_view path, std::string_view local) const override;
  std::string upload(std::string_view local, std::string_view path) const override;
  std::string look(std::string_view path) const override;
  std::string look_on(const Reply& reply, std::string_view path) const override;
  std::string enter_missing() const override;

  Verdict verdict(Command::Verb verb, const Reply& reply) const override;
  bool enters_missing(const Reply& reply) const override;
  bool says_missing(const Reply& reply) const override;
  std::string working_directory(const Reply& reply) const override;
  RemoteFile found(const Reply& reply, std::string_view path) const override;

  std::unique_ptr<Operation> list(Session* session, Selection selection) const override;
};

}  // namespace fileref::runtime::psftp
