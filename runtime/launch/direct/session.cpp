#include "runtime/launch/direct/session.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/glob.h"

namespace fileref::runtime::direct {

std::optional<FileRange> Session::open_local(const std::string& local) const {
  return is_lent(local) ? lent->find(local) : open_range(local);
}

std::string Session::path_of(std::string_view name) const {
  if (name.empty()) return directory;
  return directory.empty() ? std::string(name) : path_in(directory, name);
}

std::string path_in(std::string_view directory, std::string_view name) {
  if (name.starts_with('/')) return std::string(name);
  return std::string(directory) + (directory.ends_with('/') ? "" : "/") + std::string(name);
}

std::optional<DirectoryListing::Entry> Session::find(std::string_view name) const {
  return listed && listed_directory == directory ? listed->find(name) : std::nullopt;
}

std::optional<std::uint64_t> Session::take_file_size(std::string_view name) {
  const std::optional<File> file = std::exchange(seen, std::nullopt);
  if (file && file->path == path_of(name)) return file->size;
  const std::optional<DirectoryListing::Entry> entry = find(name);
  return entry && entry->type == '-' ? std::optional(entry->size) : std::nullopt;
}

Session::Place Session::place_of(std::string_view name) const {
  const auto named = std::find(expected.begin(), expected.end(), name);
  if (named != expected.end()) {
    return {static_cast<std::size_t>(named - expected.begin()) + 1, expected.size()};
  }
  if (listed_pattern.empty() || !find(name)) return {};
  const Glob glob(listed_pattern);
  Place place{0, 0};
  for (std::size_t at = 0; at < listed->size(); ++at) {
    const std::string_view other = listed->entry(at).name;
    if (!glob.matches(other)) continue;
    ++place.files;
    if (other <= name) ++place.number;
  }
  return place;
}

std::optional<std::string> Session::expected_behind(std::string_view name) const {
  const auto named = std::find(expected.begin(), expected.end(), name);
  if (named != expected.end() && named + 1 != expected.end()) return *(named + 1);
  if (listed_pattern.empty() || !find(name)) return std::nullopt;
  const Glob glob(listed_pattern);
  for (std::size_t at = *listed->position_of(name); ++at < listed->size();) {
    const std::string_view next = listed->entry(at).name;
    if (glob.matches(next)) return std::string(next);
  }
  return std::nullopt;
}

char type_letter(sftp::Kind kind) {
  constexpr char kLetters[] = {DirectoryListing::kUnknownType, '-', 'd', 'l', 'p'};
  return kLetters[static_cast<int>(kind)];
}

FileStatus status_of(const sftp::Attributes& attributes) {
  FileStatus status{type_letter(attributes.kind()), {}, attributes.size};
  if (attributes.mode) status.mode = *attributes.mode & 07777;
  status.modified = attributes.modification_time;
  return status;
}

std::string said_of(std::string_view path, const sftp::Status& status) {
  return "the server says of " + quoted(std::string(path)) + ": " + status.text();
}

}  // namespace fileref::runtime::direct
