#include "runtime/launch/direct/session.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/glob.h"

namespace fileref::runtime::direct {
namespace {

template <class Names, class Selects>
std::optional<std::string> next_of(const Names& names, std::size_t at, Selects selects) {
  while (++at < names.size()) {
    if (selects(names[at])) return std::string(names[at].name);
  }
  return std::nullopt;
}

}  // namespace

std::string Session::path_of(std::string_view name) const {
  if (name.empty()) return directory;
  return directory.empty() ? std::string(name) : path_in(directory, name);
}

std::string path_in(std::string_view directory, std::string_view name) {
  if (name.starts_with('/')) return std::string(name);
  return std::string(directory) + (directory.ends_with('/') ? "" : "/") + std::string(name);
}

const DirectoryListing::Entry* Session::find(std::string_view name) const {
  return listed && listed_directory == directory ? listed->find(name) : nullptr;
}

std::optional<std::uint64_t> Session::take_file_size(std::string_view name) {
  const std::optional<File> file = std::exchange(seen, std::nullopt);
  if (file && file->path == path_of(name)) return file->size;
  const DirectoryListing::Entry* entry = find(name);
  return entry != nullptr && entry->type == '-' ? std::optional(entry->size) : std::nullopt;
}

std::optional<std::string> Session::expected_behind(std::string_view name) const {
  const auto named = std::find(expected.begin(), expected.end(), name);
  if (named != expected.end() && named + 1 != expected.end()) return *(named + 1);
  const DirectoryListing::Entry* entry = listed_pattern.empty() ? nullptr : find(name);
  if (entry == nullptr) return std::nullopt;
  const std::vector<DirectoryListing::Entry>& entries = listed->entries();
  const Glob glob(listed_pattern);
  return next_of(entries, static_cast<std::size_t>(entry - entries.data()),
                 [&](const DirectoryListing::Entry& each) { return glob.matches(each.name); });
}

char type_letter(sftp::Kind kind) {
  constexpr char kLetters[] = {DirectoryListing::kUnknownType, '-', 'd', 'l', 'p'};
  return kLetters[static_cast<int>(kind)];
}

std::string said_of(std::string_view path, const sftp::Status& status) {
  return "the server says of " + quoted(std::string(path)) + ": " + status.text();
}

}  // namespace fileref::runtime::direct
