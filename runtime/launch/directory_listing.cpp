#include "runtime/launch/directory_listing.h"

#include <algorithm>
#include <cstddef>
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

// The facts about a name stand before it in memory, without what a compiler puts behind them.
constexpr std::size_t kFactsBytes = offsetof(DirectoryListing::Facts, type) + 2;

void put(const DirectoryListing::Facts& facts, char* record) {
  std::memcpy(record, &facts, kFactsBytes);
}

DirectoryListing::Facts facts_of(const FileStatus& status) {
  DirectoryListing::Facts facts{status.size.value_or(0), status.modified.value_or(0)};
  facts.mode = static_cast<std::uint16_t>(status.mode.value_or(0) & 07777);
  facts.type = status.type;
  facts.has_size = status.size.has_value();
  facts.has_mode = status.mode.has_value();
  facts.has_time = status.modified.has_value();
  return facts;
}

std::optional<LongLine> parse_line(std::string_view line, const ListingForm& form) {
  if (form.long_lines) return parse_long_line(line);
  return LongLine{{}, line};
}

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
    const std::optional<LongLine> parsed = parse_line(line, form);
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
    add(name, parsed->status);
  }
  return {};
}

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

char* DirectoryListing::keep(Facts facts, std::string_view name) {
  facts.name_length = static_cast<std::uint32_t>(name.size());
  char* record = take_room(kFactsBytes + name.size() + 1);
  put(facts, record);
  name.copy(record + kFactsBytes, name.size());
  record[kFactsBytes + name.size()] = '\0';
  return record;
}

DirectoryListing::Entry DirectoryListing::entry_of(const char* record) {
  Facts facts;
  std::memcpy(static_cast<void*>(&facts), record, kFactsBytes);
  return {facts, {record + kFactsBytes, facts.name_length}};
}

std::string_view DirectoryListing::name_of(const char* record) {
  decltype(Facts::name_length) length = 0;
  std::memcpy(&length, record + offsetof(Facts, name_length), sizeof length);
  return {record + kFactsBytes, length};
}

void DirectoryListing::set_name(std::size_t entry, std::string_view name) {
  records_[entry] = keep(this->entry(entry), name);
}

void DirectoryListing::set_type(std::size_t entry, char type) {
  Facts facts = this->entry(entry);
  facts.type = type;
  facts.is_followed = 1;
  put(facts, records_[entry]);
}

void DirectoryListing::add(std::string_view name, const FileStatus& status) {
  records_.push_back(keep(facts_of(status), name));
}

FileStatus DirectoryListing::Facts::status() const {
  FileStatus known{type};
  if (type != kUnknownType) known.is_link = is_followed || type == 'l';
  if (is_followed) return known;
  if (has_size) known.size = size;
  if (has_mode) known.mode = mode;
  if (has_time) known.modified = modified;
  return known;
}

void DirectoryListing::sort() {
  // This sort looks at what is near in memory, mostly.
  std::stable_sort(records_.begin(), records_.end(),
                   [](const char* a, const char* b) { return name_of(a) < name_of(b); });
  const auto same = [](const char* a, const char* b) { return name_of(a) == name_of(b); };
  records_.erase(std::unique(records_.begin(), records_.end(), same), records_.end());
}

std::optional<std::size_t> DirectoryListing::position_of(std::string_view name) const {
  const auto at = std::lower_bound(
      records_.begin(), records_.end(), name,
      [](const char* record, std::string_view wanted) { return name_of(record) < wanted; });
  if (at == records_.end() || name_of(*at) != name) return std::nullopt;
  return static_cast<std::size_t>(at - records_.begin());
}

std::optional<DirectoryListing::Entry> DirectoryListing::find(std::string_view name) const {
  const std::optional<std::size_t> at = position_of(name);
  return at ? std::optional(entry(*at)) : std::nullopt;
}

}  // namespace fileref::runtime
