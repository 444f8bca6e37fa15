// The names in one remote directory, read from the client's long numeric listing of it.
//
// The client prints what it cannot show of a name as a backslash and three octal digits, and a
// backslash as it is: such a name is unclear until it was asked for. It prints line feeds as they
// are, which makes lines that are none. A name made with care can hold a line that looks like any
// other; whoever may give names there can thus have a name listed that is not there, of which a
// download finds nothing, but cannot hide another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fileref::runtime {

class DirectoryListing {
 public:
  struct Entry {
    std::string_view name;  // followed by a NUL
    char type;              // as in a listing: '-', 'd', 'l', ...
    std::uint64_t size;
  };

  // Reads the lines of a listing whose paths have `slashes` slashes before the name. Without the
  // dot entries. Returns null, and says why, when a line is no entry.
  static std::unique_ptr<DirectoryListing> parse(std::string_view lines, std::size_t slashes,
                                                 std::string* why);
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  const std::vector<Entry>& entries() const { return entries_; }

  // The entries whose names are unclear.
  const std::vector<std::size_t>& unclear() const { return unclear_; }
  void set_name(std::size_t entry, std::string name);
  // Puts the entries into the order of their names.
  void sort();

  // Once sorted. Null when there is no such entry.
  const Entry* find(std::string_view name) const;

 private:
  explicit DirectoryListing(std::string_view lines) : text_(lines) {}

  std::string parse_lines(std::size_t slashes);

  std::string text_;
  std::deque<std::string> names_;  // those that were unclear
  std::vector<Entry> entries_;
  std::vector<std::size_t> unclear_;
};

// What a name that is shown as `shown` may be: every backslash with three digits is the byte or is
// itself.
class UnclearName {
 public:
  explicit UnclearName(std::string_view shown);

  struct Candidate {
    std::string name;
    std::string shown;  // the name between quotes, quoted for `ls`, as the client would echo it
  };

  // The likeliest first; nothing when there are no more.
  std::optional<Candidate> next();

 private:
  // Whether the candidate that is tried next has this place as it is shown.
  bool is_literal(std::size_t place) const;

  std::vector<std::string> literal_;  // the text between the places
  std::vector<std::string> digits_;   // of each place
  std::size_t tried_ = 0;
};

}  // namespace fileref::runtime
