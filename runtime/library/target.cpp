#include "fileref/target.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "fileref/failure.h"
#include "runtime/launch/command_line.h"
#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/printable.h"

namespace fileref {
namespace {

constexpr std::string_view kRemoteScheme = "sftp://";
constexpr std::string_view kLocalScheme = "local:";
constexpr const char* kServerProgram = "/usr/lib/openssh/sftp-server";

// Without a network, few requests under way at a time keep the data in the processor's cache.
const std::vector<std::string> kLocalArguments = {"-B", "131072", "-R", "8", "-D", kServerProgram};

constexpr std::string_view kForm = "Write sftp://[USER@]HOST[:PORT]/PATH";
constexpr std::string_view kPassword =
    "The target holds a password, which would be seen by everybody. Leave it out: the client asks "
    "for it, or use a key";

[[noreturn]] void refuse(const std::string& why) {
  throw UsageError(why);
}

// `text` without what may be a password.
std::string shown(std::string_view text) {
  const std::size_t at = text.rfind('@');
  if (!text.starts_with(kRemoteScheme) || at == text.npos) return runtime::printable(text);
  const std::size_t from = std::min(text.find_first_of(":%", kRemoteScheme.size()), at);
  if (from == at) return runtime::printable(text);
  return runtime::printable(text.substr(0, from)) + "***" + runtime::printable(text.substr(at));
}

[[noreturn]] void refuse_text(std::string_view text, std::string_view why) {
  refuse(fmt::format("\"{}\" {}", shown(text), why));
}

std::string percent_decoded(std::string_view text, std::string_view whole) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    unsigned byte = 0;
    const char* digits = text.data() + i + 1;
    const bool complete = i + 2 < text.size();
    if (!complete || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
      refuse_text(whole, "has a % that no two hexadecimal digits follow. Write %25 for a % itself");
    }
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

void check_word(std::string_view keyword, const char* what, const std::string& value) {
  const std::string why = value.empty() ? "" : runtime::why_unfit(keyword, value);
  if (!why.empty()) {
    refuse(fmt::format("\"{}\" is no usable {}: {}", runtime::printable(value), what, why));
  }
}

void check_user(const std::string& user) {
  if (user.find(':') != std::string::npos) refuse(std::string(kPassword));
  check_word("USER", "user", user);
}

void check_no_zero(std::string_view text, std::string_view what) {
  if (text.find('\0') == std::string_view::npos) return;
  refuse(
      fmt::format("\"{}\" has a zero byte, which no {} can have", runtime::printable(text), what));
}

std::string port_of(std::string_view text, std::string_view whole) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535) {
    refuse_text(whole, "has no usable port. It is a number from 1 to 65535");
  }
  return std::to_string(port);
}

// A name between quotes; escaped, it holds none itself.
std::string list_item(const std::string& name) {
  return "'" + runtime::escape_name(name) + "'";
}

Target parse_remote(std::string_view text) {
  std::string_view rest = text.substr(kRemoteScheme.size());
  const std::size_t slash = rest.find('/');
  std::string_view authority = rest.substr(0, slash);
  std::string_view path = slash == std::string_view::npos ? "" : rest.substr(slash);

  Target target;
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    target.user = percent_decoded(authority.substr(0, at), text);
    if (target.user.empty()) refuse_text(text, fmt::format("has no user before its @. {}", kForm));
    authority.remove_prefix(at + 1);
  }
  check_user(target.user);
  const std::size_t bracket = authority.find(']');
  const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon != std::string_view::npos) {
    target.client_arguments = {"-P", port_of(authority.substr(colon + 1), text)};
    authority = authority.substr(0, colon);
  }
  target.host = authority;
  if (target.host.empty()) refuse_text(text, fmt::format("has no host. {}", kForm));
  if (path.starts_with("/~/")) path.remove_prefix(3);
  target.path = percent_decoded(path, text);
  return target;
}

}  // namespace

Target Target::parse(std::string_view text) {
  Target target;
  if (text.starts_with(kRemoteScheme)) {
    target = parse_remote(text);
  } else if (text.starts_with(kLocalScheme)) {
    target.path = text.substr(kLocalScheme.size());
    target.client_arguments = kLocalArguments;
  } else {
    refuse_text(text, fmt::format("is no target. {} or local:PATH", kForm));
  }
  target.check();
  return target;
}

void Target::check() const {
  check_user(user);
  check_word("HOST", "host", host);
  check_no_zero(path, "path");
  for (const std::string& name : names) {
    check_no_zero(name, "name");
    if (name.empty()) refuse("one of the names of the files is empty");
  }
  for (const std::string& word : client_arguments) check_no_zero(word, "argument");
}

std::string Target::last_part() const {
  return path.substr(path.rfind('/') + 1);
}

bool Target::is_pattern() const {
  return last_part().find_first_of("*?[") != std::string::npos;
}

Target Target::parent() const {
  Target parent = *this;
  parent.path.resize(path.size() - last_part().size());
  return parent;
}

std::string option(std::string_view keyword, std::string_view text) {
  std::string made(keyword);
  made += "='";
  for (const char c : text) made.append(c == '\'' ? 2 : 1, c);
  return made + "'";
}

std::string physical_name(const Target& target) {
  if (!target.names.empty()) {
    std::string list = "(";
    for (const std::string& name : target.names) list += list_item(name) + " ";
    list.back() = ')';
    return list;
  }
  const std::string& path = target.path;
  const std::size_t slash = path.rfind('/');
  const bool split_by_slash = slash != std::string::npos && slash > 0;
  const std::size_t backslash = path.rfind('\\');
  const bool split_by_backslash = backslash != std::string::npos && backslash > 0;
  const bool of_the_root = path.starts_with('/');
  const bool like_a_list = path.starts_with('(');
  if (split_by_slash || (!split_by_backslash && !of_the_root && !like_a_list)) {
    return runtime::escape_name(path);
  }
  return (path.starts_with('/') ? "/." : "./") + runtime::escape_name(path);
}

}  // namespace fileref
