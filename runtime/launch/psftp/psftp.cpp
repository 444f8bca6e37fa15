#include "runtime/launch/psftp/psftp.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/line_buffer.h"
#include "runtime/launch/psftp/psftp_list.h"

namespace fileref::runtime::psftp {
namespace {

constexpr std::string_view kPrompt = "psftp> ";
constexpr std::string_view kEntered = "Remote directory is now ";
constexpr std::string_view kDirectory = "Remote directory is ";
constexpr std::string_view kLoggedIn = "Remote working directory is ";
constexpr std::string_view kListing = "Listing directory ";
constexpr std::string_view kUnsorted =
    "Directory is too large to sort; writing file names unsorted";
constexpr std::string_view kCannotOpen = "Unable to open ";
constexpr std::string_view kMissing = ": no such file or directory";
constexpr std::string_view kWildcards = "*?[]";

std::string with_backslashes(std::string_view text, std::string_view before) {
  std::string result;
  for (const char c : text) {
    if (before.find(c) != before.npos) result += '\\';
    result += c;
  }
  return result;
}

// A pattern that matches this name only.
std::string pattern_of(std::string_view name) {
  return '[' + with_backslashes(name.substr(0, 1), "\\]^[-") + ']' +
         with_backslashes(name.substr(1), "\\*?[]");
}

std::string_view without_prompts(std::string_view line) {
  while (line.starts_with(kPrompt)) line.remove_prefix(kPrompt.size());
  if (line.ends_with(kPrompt)) line.remove_suffix(kPrompt.size());
  return line;
}

bool tells_of_transfer(std::string_view line) {
  return (line.starts_with("remote:") && line.find(" => local:") != line.npos) ||
         (line.starts_with("local:") && line.find(" => remote:") != line.npos);
}

bool is_news(std::string_view line) {
  return line.starts_with(kDirectory) || line.starts_with(kLoggedIn) ||
         line.starts_with(kListing) || tells_of_transfer(line);
}

}  // namespace

std::string quote(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"') quoted += c;
    quoted += c;
  }
  return quoted + '"';
}

std::string list_names(std::string_view path) {
  return path.empty() ? "ls" : "ls " + quote(with_backslashes(path, "\\*?[]"));
}

std::optional<std::string> list_matches(std::string_view path, std::string_view pattern) {
  if (path.find_first_of(kWildcards) != path.npos) return std::nullopt;
  // The root is written with two slashes: one alone would stand for the current directory.
  const bool separate = !path.empty() && (path == "/" || !path.ends_with('/'));
  return "ls " + quote(std::string(path) + (separate ? "/" : "") + std::string(pattern));
}

std::optional<std::string> list_only(std::string_view path) {
  const std::size_t name = path.rfind('/') + 1;
  return list_matches(path.substr(0, name), pattern_of(path.substr(name)));
}

std::optional<Listed> read_listed(std::string_view out) {
  if (!out.starts_with(kListing) || !out.ends_with(kPrompt)) return std::nullopt;
  out.remove_suffix(kPrompt.size());
  Listed listed;
  listed.directory = take_line(&out).substr(kListing.size());
  if (out.starts_with(kUnsorted)) take_line(&out);
  if (out.starts_with(kCannotOpen) || out.starts_with("Reading directory ")) {
    listed.complaint = take_line(&out);
  }
  listed.lines = out;
  return listed;
}

Sentinel PsftpDialect::sentinel(const std::string& nonce) const {
  const std::string line = "zz" + nonce;
  return {line, "psftp: unknown command \"" + line + "\"\n" + std::string(kPrompt), false};
}

// It prompts, and repeats nothing.
std::string PsftpDialect::echo(std::string_view) const {
  return std::string(kPrompt);
}

std::string PsftpDialect::complaint(const Reply& reply) const {
  std::string complaint = reply.err;
  for (std::string_view rest = reply.out; !rest.empty();) {
    const std::string_view line = without_prompts(take_line(&rest));
    if (!line.empty() && !is_news(line)) complaint.append(line).append("\n");
  }
  return complaint;
}

bool PsftpDialect::can_carry(std::string_view name, std::string* why) const {
  using namespace std::string_view_literals;
  if (name.find_first_of("\r\n\0"sv) == name.npos) return true;
  *why = "psftp takes no name with a line feed, a carriage return or a NUL byte";
  return false;
}

std::string PsftpDialect::change_directory(std::string_view path) const {
  return "cd " + quote(path);
}
std::string PsftpDialect::make_directory(std::string_view path) const {
  return "mkdir " + quote(path);
}
std::string PsftpDialect::download(std::string_view path, std::string_view local) const {
  return "get " + quote(path) + ' ' + quote(local);
}
std::string PsftpDialect::upload(std::string_view local, std::string_view path) const {
  return "put " + quote(local) + ' ' + quote(path);
}

std::string PsftpDialect::look(std::string_view path) const {
  if (path.empty() || path.ends_with('/')) return "pwd";  // that is a directory by its form
  return list_only(path).value_or(list_names(path));
}

// Asked to list what is behind a link that leads to no directory, the client tells the path of it.
std::string PsftpDialect::look_on(const Reply& reply, std::string_view path) const {
  const std::optional<Listed> listed = read_listed(reply.out);
  if (!listed) return {};
  if (listed->lines.starts_with('l') && listed->lines.find('\n') + 1 == listed->lines.size()) {
    return list_names(path);
  }
  const bool is_no_directory =
      listed->complaint.starts_with(std::string(kCannotOpen) + std::string(path) + ": ");
  return is_no_directory ? look(listed->directory) : "";
}

Verdict PsftpDialect::verdict(Command::Verb verb, const Reply& reply) const {
  const std::string_view out = reply.out;
  std::string_view rest = out;
  const std::string_view first = take_line(&rest);
  bool good = false;
  switch (verb) {
    case Command::Verb::kChangeDirectory:
      good = first.starts_with(kEntered);
      break;
    case Command::Verb::kMakeDirectory:
      good = first.ends_with(": OK") && rest == kPrompt;
      break;
    case Command::Verb::kDownload:
    case Command::Verb::kUpload:
      good = tells_of_transfer(first) && rest == kPrompt;
      break;
    default:
      break;
  }
  if (good) return Verdict::kSuccess;
  const bool begun = verb != Command::Verb::kUpload || tells_of_transfer(first);
  return begun ? Verdict::kFailure : Verdict::kRefused;
}

// It enters what the server opens as a directory, and servers open directories that are not there,
// to say so when they are read.
std::string PsftpDialect::enter_missing() const {
  return change_directory("no such directory");
}

bool PsftpDialect::enters_missing(const Reply& reply) const {
  return verdict(Command::Verb::kChangeDirectory, reply) == Verdict::kSuccess;
}

bool PsftpDialect::says_missing(const Reply& reply) const {
  const std::optional<Listed> listed = read_listed(reply.out);
  return listed && listed->complaint.ends_with(kMissing);
}

std::string PsftpDialect::working_directory(const Reply& reply) const {
  std::string_view out = reply.out;
  if (!out.ends_with('\n' + std::string(kPrompt))) return {};
  out.remove_suffix(kPrompt.size() + 1);
  const std::size_t behind_prompt = out.rfind(kPrompt);
  if (behind_prompt != out.npos) out.remove_prefix(behind_prompt + kPrompt.size());
  return std::string(out.starts_with(kDirectory) ? out.substr(kDirectory.size()) : "");
}

RemoteFile PsftpDialect::found(const Reply& reply, std::string_view path) const {
  if (path.ends_with('/')) return {RemoteFile::Kind::kDirectory};
  const std::optional<Listed> listed = read_listed(reply.out);
  if (!listed || listed->lines.empty()) return {};
  std::string_view rest = listed->lines;
  const std::optional<LongLine> line = parse_long_line(take_line(&rest));
  if (!rest.empty()) return {RemoteFile::Kind::kDirectory};
  return line ? remote_file(*line) : RemoteFile{};
}

std::unique_ptr<Operation> PsftpDialect::list(Session* session, Selection selection) const {
  return std::make_unique<List>(session, std::move(selection));
}

}  // namespace fileref::runtime::psftp
