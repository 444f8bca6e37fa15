// Remote directories as libraries of members.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/failure.h"
#include "fileref/file.h"
#include "fileref/file_status.h"

namespace fileref {

class OpenDirectory;

/// One member of a directory.
struct Member {
  enum class Kind { kUnknown, kFile, kDirectory };

  std::string name;
  /// With MemberOptions::split what stood behind the first dot of the name, at most eight bytes.
  std::string type;
  Kind kind = Kind::kUnknown;
};

struct MemberOptions {
  /// Finds out whether a member is a file or a directory, with one or two commands for each.
  bool kinds = false;
  /// Takes names apart at their first dot, unless that is their first byte.
  bool split = false;
};

/// A directory that is open; a range of its members. Its host must outlive it. Files of it can be
/// closed before or after it. One that was moved from can only be destroyed or assigned to; any
/// other call throws UsageError.
class Directory {
 public:
  class iterator {
   public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = Member;
    using difference_type = std::ptrdiff_t;

    explicit iterator(Directory* directory) : directory_(directory) { ++*this; }
    const Member& operator*() const { return member_; }
    iterator& operator++() {
      if (!directory_->next(member_)) directory_ = nullptr;
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const iterator& it, std::default_sentinel_t /*end*/) {
      return it.directory_ == nullptr;
    }

   private:
    Directory* directory_;
    Member member_;
  };

  explicit Directory(std::unique_ptr<OpenDirectory> directory);
  Directory(Directory&&) noexcept;
  Directory& operator=(Directory&&) noexcept;
  ~Directory();

  /// The next member, in the order in which the client lists them; false after the last, and then
  /// from the first one again, as a new listing shows them. Throws Failure.
  bool next(Member& member);
  iterator begin() { return iterator(this); }
  std::default_sentinel_t end() const { return {}; }

  /// Opens a member as Host::open and Host::create do. `member` is one name: a path, "." and ".."
  /// throw UsageError. With the option FILEEXT and a `type` of one to eight bytes, without blanks
  /// and slashes, ".type" is added to a name without a dot.
  [[nodiscard]] Input open(std::string_view member, std::string_view type = {},
                           const std::vector<std::string>& options = {});
  [[nodiscard]] Output create(std::string_view member, std::string_view type = {},
                              const std::vector<std::string>& options = {});
  /// Whether the member can be fetched, which is how it is found out. Throws Failure when it could
  /// not be found out.
  bool has(std::string_view member, std::string_view type = {});

  /// Enters the directory, as the first call that needs it does else. Throws Failure when there is
  /// no such directory.
  void enter();
  /// What is there under a member's name, without fetching it; links are followed. Nothing when
  /// nothing is.
  std::optional<FileStatus> stat(std::string_view member);
  /// The names in the directory that match a pattern, in the order of their bytes; those that begin
  /// with a dot only if it does, too. None when none matches.
  std::vector<std::string> names(std::string_view pattern);

  std::vector<InfoLine> info();
  void close();

 private:
  OpenDirectory& directory() const;

  std::unique_ptr<OpenDirectory> directory_;
};

}  // namespace fileref
