// The names in one remote directory, read from the client's listing of it.
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

// How a client lists a directory, a name a line.
struct ListingForm {
  bool long_lines;      // with mode, owner, size and date before the name
  bool shows_octal;     // see unclear_name.h
  std::size_t slashes;  // in a path, before the name
};

class DirectoryListing {
 public:
  static constexpr char kUnknownType = '?';

  struct Entry {
    std::string_view name;  // followed by a NUL
    char type;              // as in a long line: '-', 'd', 'l', ...; kUnknownType in a short one
    std::uint64_t size;     // 0 in a short line
  };

  // Leaves the dot entries out. Returns null, and says why, when a line is no entry: names with
  // line feeds make such lines.
  static std::unique_ptr<DirectoryListing> parse(std::string_view lines, const ListingForm& form,
                                                 std::string* why);
  static std::unique_ptr<DirectoryListing> empty() {
    return std::unique_ptr<DirectoryListing>(new DirectoryListing({}));
  }
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  const std::vector<Entry>& entries() const { return entries_; }

  // The entries whose names are unclear.
  const std::vector<std::size_t>& unclear() const { return unclear_; }
  void set_name(std::size_t entry, std::string name);
  void set_type(std::size_t entry, char type) { entries_[entry].type = type; }
  void add(std::string_view name, char type, std::uint64_t size);
  // Puts the entries into the order of their names, each once.
  void sort();

  // Once sorted. Null when there is no such entry.
  const Entry* find(std::string_view name) const;

 private:
  explicit DirectoryListing(std::string_view lines) : text_(lines) {}

  std::string parse_lines(const ListingForm& form);

  std::string_view keep(std::string_view name);

  std::string text_;
  std::vector<std::unique_ptr<char[]>> added_;   // names that were, in pieces
  std::size_t piece_size_ = 0, added_room_ = 0;  // of the last, in bytes, and left
  std::deque<std::string> names_;                // those that were unclear
  std::vector<Entry> entries_;
  std::vector<std::size_t> unclear_;
};

}  // namespace fileref::runtime
