// Files that are likely to be asked for next, fetched while the one before them is read.
//
// Only what a listing by pattern or a list of names gives cause to expect, 32 files and 16 MiB at
// the most. One whose fetch failed is dropped: it is asked for again in its turn, and fails as it
// would have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/direct/fetch.h"
#include "runtime/launch/direct/session.h"

namespace fileref::runtime::direct {

class FetchAhead {
 public:
  explicit FetchAhead(Session& session) : session_(session) {}

  // The fetch of `name` that was begun, or null. What was to come before it is dropped.
  std::unique_ptr<Fetch> take(std::string_view name);
  // Begins the fetches of what is expected behind `name`.
  void go_on(sftp::Connection& connection, std::string_view name);
  void drop() { fetches_.clear(); }

 private:
  void begin(sftp::Connection& connection, std::string_view name);
  std::uint64_t bytes() const;

  Session& session_;
  std::deque<std::unique_ptr<Fetch>> fetches_;
  std::string last_;  // name that was considered
};

}  // namespace fileref::runtime::direct
