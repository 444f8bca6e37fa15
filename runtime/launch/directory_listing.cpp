#include "runtime/launch/directory_listing.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/dialogue/listing.h"
#include "runtime/launch/openssh/unclear_name.h"

namespace fileref::runtime {
namespace {

// OpenSSH cuts a long line in silence before it makes bytes visible.
constexpr std::size_t kLongestLine = 1022;
constexpr std::size_t kOctalDigits = 3;

constexpr std::size_t kPiece = std::size_t{64} << 10;

bool before(const DirectoryListing::Entry& a, const DirectoryListing::Entry& b) {
  return a.name < b.name;
}

}  // namespace

std::unique_ptr<DirectoryListing> DirectoryListing::parse(std::string_view lines,
                                                          const ListingForm& form,
                                                          std::string* why) {
  std::unique_ptr<DirectoryListing> listing(new DirectoryListing(lines));
  *why = listing->parse_lines(form);
  return why->empty() ? std::move(listing) : nullptr;
}

// Returns what is wrong, or nothing.
std::string DirectoryListing::parse_lines(const ListingForm& form) {
  std::string_view previous;
  std::size_t end = 0;
  for (std::size_t start = 0; start < text_.size(); start = end + 1) {
    end = std::min(text_.find('\n', start), text_.size());
    const std::string_view line = std::string_view(text_).substr(start, end - start);
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
    if (hidden > 0) unclear_.push_back(entries_.size());
    if (end < text_.size()) text_[end] = '\0';
    entries_.push_back({name, parsed->type, parsed->size});
  }
  return {};
}

void DirectoryListing::set_name(std::size_t entry, std::string name) {
  entries_[entry].name = names_.emplace_back(std::move(name));
}

void DirectoryListing::add(std::string_view name, char type, std::uint64_t size) {
  entries_.push_back({keep(name), type, size});
}

// In large pieces: a directory may hold millions.
std::string_view DirectoryListing::keep(std::string_view name) {
  const std::size_t bytes = name.size() + 1;
  if (bytes > added_room_) {
    added_room_ = std::max(kPiece, bytes);
    added_.push_back(std::make_unique<char[]>(added_room_));
    piece_size_ = added_room_;
  }
  char* place = added_.back().get() + (piece_size_ - added_room_);
  name.copy(place, name.size());
  added_room_ -= bytes;
  return {place, name.size()};
}

void DirectoryListing::sort() {
  std::sort(entries_.begin(), entries_.end(), before);
  const auto same = [](const Entry& a, const Entry& b) { return a.name == b.name; };
  entries_.erase(std::unique(entries_.begin(), entries_.end(), same), entries_.end());
}

const DirectoryListing::Entry* DirectoryListing::find(std::string_view name) const {
  const auto at = std::lower_bound(entries_.begin(), entries_.end(), Entry{name, 0, 0}, before);
  return at != entries_.end() && at->name == name ? &*at : nullptr;
}

}  // namespace fileref::runtime
