// The names in one remote directory, read from the client's listing of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/launch/file_status.h"

namespace fileref::runtime {

// How a client lists a directory, a name a line.
struct ListingForm {
  bool long_lines;      // with mode, owner, size and date before the name
  bool shows_octal;     // see unclear_name.h
  std::size_t slashes;  // in a path, before the name
};

// Millions of names: each takes its bytes, 21 about it and a pointer.
class DirectoryListing {
 public:
  static constexpr char kUnknownType = FileStatus::kUnknownType;

  // Of a link its own, unless `is_followed`: then there is nothing but the type.
  struct Facts {
    std::uint64_t size = 0;  // of a file, in bytes
    std::uint32_t modified = 0;
    std::uint32_t name_length = 0;
    std::uint16_t mode = 0;
    char type = kUnknownType;  // as in a long line: '-', 'd', 'l', ...; in a short one it stays so
    unsigned char has_size : 1 = 0, has_mode : 1 = 0, has_time : 1 = 0, is_followed : 1 = 0;

    FileStatus status() const;
  };

  struct Entry : Facts {
    std::string_view name;  // followed by a NUL
  };

  // Leaves the dot entries out. Returns null, and says why, when a line is no entry: names with
  // line feeds make such lines.
  static std::unique_ptr<DirectoryListing> parse(std::string_view lines, const ListingForm& form,
                                                 std::string* why);
  static std::unique_ptr<DirectoryListing> empty() {
    return std::unique_ptr<DirectoryListing>(new DirectoryListing);
  }
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  std::size_t size() const { return records_.size(); }
  Entry entry(std::size_t at) const { return entry_of(records_[at]); }

  // The entries whose names are unclear.
  const std::vector<std::size_t>& unclear() const { return unclear_; }
  void set_name(std::size_t entry, std::string_view name);
  // Of what is behind a link.
  void set_type(std::size_t entry, char type);
  void add(std::string_view name, const FileStatus& status);
  // Puts the entries into the order of their names, each once.
  void sort();

  // Once sorted. Nothing when there is no such entry.
  std::optional<std::size_t> position_of(std::string_view name) const;
  std::optional<Entry> find(std::string_view name) const;

 private:
  DirectoryListing() = default;

  std::string parse_lines(std::string_view lines, const ListingForm& form);
  char* keep(Facts facts, std::string_view name);
  char* take_room(std::size_t bytes);
  static Entry entry_of(const char* record);
  static std::string_view name_of(const char* record);

  std::vector<std::unique_ptr<char[]>> pieces_;  // full of records
  std::size_t piece_size_ = 0, room_ = 0;        // of the last, in bytes, and left
  std::vector<char*> records_;
  std::vector<std::size_t> unclear_;
};

}  // namespace fileref::runtime
