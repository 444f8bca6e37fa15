#include "runtime/launch/openssh/openssh.h"

#include "runtime/launch/answers.h"
#include "runtime/launch/line_buffer.h"
#include "runtime/launch/openssh/openssh_list.h"

namespace fileref::runtime::openssh {
namespace {

std::string quote_with(std::string_view name, std::string_view escaped) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (escaped.find(c) != escaped.npos) quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

// The client itself knows that it failed.
bool says_failed(Command::Verb verb, std::string_view err) {
  switch (verb) {
    case Command::Verb::kMakeDirectory:
      return has_line(err, {"remote mkdir \"", "Couldn't create directory", "realpath ",
                            "Couldn't canonicali"});
    case Command::Verb::kDownload:
      return has_line(err, {"read remote \"", "write local \"", "Couldn't read from remote file",
                            "Couldn't write to \""});
    case Command::Verb::kUpload:
      return has_line(err, {"write remote \"", "close remote", "Couldn't write to remote file",
                            "Couldn't close file"});
    default:
      return false;
  }
}

bool says_refused(Command::Verb verb, std::string_view err) {
  return verb == Command::Verb::kUpload &&
         has_line(err, {"dest open \"", "remote open(\"", "remote open \"", "open local \""});
}

}  // namespace

std::string quote(std::string_view name) {
  return quote_with(name, "\"\\");
}
std::string quote_for_listing(std::string_view name) {
  return quote_with(name, "\"\\{");
}

// The names are sorted here: that is faster.
std::string list_names(std::string_view path) {
  return "ls -1af " + (path.empty() ? "." : quote_for_listing(path));
}

std::string_view behind_echo(std::string_view out) {
  take_line(&out);
  return out;
}

Sentinel OpensshDialect::sentinel(const std::string& nonce) const {
  return {"#" + nonce, "sftp> #" + nonce + "\n"};
}

std::string OpensshDialect::echo(std::string_view line) const {
  return "sftp> " + std::string(line);
}

bool OpensshDialect::can_carry(std::string_view name, std::string* why) const {
  if (name.find('\n') == name.npos && name.find('\0') == name.npos) return true;
  *why = "a name cannot hold a line feed or a NUL byte";
  return false;
}

std::string OpensshDialect::change_directory(std::string_view path) const {
  return "cd " + quote(path);
}
std::string OpensshDialect::make_directory(std::string_view path) const {
  return "mkdir " + quote(path);
}
std::string OpensshDialect::download(std::string_view path, std::string_view local) const {
  return "get " + quote(path) + ' ' + quote(local);
}
std::string OpensshDialect::upload(std::string_view local, std::string_view path) const {
  return "put " + quote(local) + ' ' + quote(path);
}
std::string OpensshDialect::look(std::string_view path) const {
  return "ls -ln " + quote_for_listing(path);
}
std::string OpensshDialect::look_at_all(std::string_view path) const {
  return "ls -lnaf " + quote_for_listing(path);
}

Verdict OpensshDialect::verdict(Command::Verb verb, const Reply& reply) const {
  if (reply.err.empty()) return Verdict::kSuccess;
  if (says_failed(verb, reply.err)) return Verdict::kFailure;
  return says_refused(verb, reply.err) ? Verdict::kRefused : Verdict::kUnclear;
}

std::string OpensshDialect::working_directory(const Reply& reply) const {
  constexpr std::string_view kAnswer = "sftp> pwd\nRemote working directory: ";
  std::string_view out = reply.out;
  const std::size_t at = out.find(kAnswer);
  if (at == out.npos || (at > 0 && out[at - 1] != '\n')) return {};
  out.remove_prefix(at + kAnswer.size());
  if (out.ends_with('\n')) out.remove_suffix(1);
  return std::string(out);
}

RemoteFile OpensshDialect::found(const Reply& reply, std::string_view path) const {
  return read_listing(reply, path);
}

std::unique_ptr<DirectoryListing> OpensshDialect::found_all(const Reply& reply,
                                                            std::string_view path) const {
  std::string why;
  const ListingForm form{true, true, slashes(path) + 1};
  auto listing = DirectoryListing::parse(behind_echo(reply.out), form, &why);
  if (listing) listing->sort();
  return listing;
}

std::unique_ptr<Operation> OpensshDialect::list(Session* session, Selection selection) const {
  return std::make_unique<List>(*this, session, std::move(selection));
}

}  // namespace fileref::runtime::openssh
