#include "runtime/launch/directory_listing.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/launch/dialogue/listing.h"
#include "runtime/launch/line_buffer.h"
#include "runtime/launch/openssh/unclear_name.h"

namespace fileref::runtime {
namespace {

// OpenSSH cuts a long line in silence before it makes bytes visible.
constexpr std::size_t kLongestLine = 1022;
constexpr std::size_t kOctalDigits = 3;

constexpr std::size_t kPiece = std::size_t{64} << 10;

}  // namespace

std::unique_ptr<DirectoryListing> DirectoryListing::parse(std::string_view lines,
                                                          const ListingForm& form,
                                                          std::string* why) {
  std::unique_ptr<DirectoryListing> listing = empty();
  *why = listing->parse_lines(lines, form);
  return why->empty() ? std::move(listing) : nullptr;
}

// Returns what is wrong, or nothing.
std::string DirectoryListing::parse_lines(std::string_view lines, const ListingForm& form) {
  std::string_view previous;
  while (!lines.empty()) {
    const std::string_view line = take_line(&lines);
    const std::optional<LongLine> parsed =
        form.long_lines ? parse_long_line(line) : LongLine{kUnknownType, 0, line};
    const std::size_t found = parsed ? slashes(parsed->path) : 0;
    if ((!parsed || found < form.slashes) && !previous.empty()) {
      return "there is a line feed in the name \"" + std::string(previous) + "\\n" +
             std::string(line) + "\": rename that file";
    }
    if (!parsed || found != form.slashes || parsed->path.ends_with('/')) {
      return "a line of it is not understood: \"" + std::string(line) + '"';
    }
    const std::string_view name = parsed->path.substr(parsed->path.rfind('/') + 1);
    previous = name;
    const std::size_t hidden = form.shows_octal ? hidden_bytes(name) : 0;
    if (form.long_lines && line.size() - kOctalDigits * hidden > kLongestLine) {
      return "the client cuts the long path \"" + std::string(parsed->path) + "\"";
    }
    if (name == "." || name == "..") continue;
    if (hidden > 0) unclear_.push_back(size());
    add(name, parsed->type, parsed->size);
  }
  return {};
}

struct DirectoryListing::Head {
  std::uint64_t size;
  std::uint32_t length;  // of the name
  char type;

  static constexpr std::size_t kType = sizeof size + sizeof length, kBytes = kType + sizeof type;
};

// In large pieces.
char* DirectoryListing::take_room(std::size_t bytes) {
  if (bytes > room_) {
    room_ = piece_size_ = std::max(kPiece, bytes);
    pieces_.push_back(std::make_unique_for_overwrite<char[]>(room_));
  }
  char* place = pieces_.back().get() + (piece_size_ - room_);
  room_ -= bytes;
  return place;
}

char* DirectoryListing::keep(std::string_view name, char type, std::uint64_t size) {
  const auto length = static_cast<std::uint32_t>(name.size());
  char* record = take_room(Head::kBytes + length + 1);
  std::memcpy(record, &size, sizeof size);
  std::memcpy(record + sizeof size, &length, sizeof length);
  record[Head::kType] = type;
  name.copy(record + Head::kBytes, length);
  record[Head::kBytes + length] = '\0';
  return record;
}

DirectoryListing::Entry DirectoryListing::entry_of(const char* record) {
  std::uint64_t size = 0;
  std::uint32_t length = 0;
  std::memcpy(&size, record, sizeof size);
  std::memcpy(&length, record + sizeof size, sizeof length);
  return {{record + Head::kBytes, length}, record[Head::kType], size};
}

bool DirectoryListing::before(const char* a, const char* b) {
  return entry_of(a).name < entry_of(b).name;
}

void DirectoryListing::set_name(std::size_t entry, std::string_view name) {
  const Entry old = this->entry(entry);
  records_[entry] = keep(name, old.type, old.size);
}

void DirectoryListing::set_type(std::size_t entry, char type) {
  records_[entry][Head::kType] = type;
}

void DirectoryListing::add(std::string_view name, char type, std::uint64_t size) {
  records_.push_back(keep(name, type, size));
}

void DirectoryListing::sort() {
  std::sort(records_.begin(), records_.end(), before);
  const auto same = [](const char* a, const char* b) {
    return entry_of(a).name == entry_of(b).name;
  };
  records_.erase(std::unique(records_.begin(), records_.end(), same), records_.end());
}

std::optional<std::size_t> DirectoryListing::position_of(std::string_view name) const {
  const auto at = std::lower_bound(
      records_.begin(), records_.end(), name,
      [](const char* record, std::string_view wanted) { return entry_of(record).name < wanted; });
  if (at == records_.end() || entry_of(*at).name != name) return std::nullopt;
  return static_cast<std::size_t>(at - records_.begin());
}

std::optional<DirectoryListing::Entry> DirectoryListing::find(std::string_view name) const {
  const std::optional<std::size_t> at = position_of(name);
  return at ? std::optional(entry(*at)) : std::nullopt;
}

}  // namespace fileref::runtime
