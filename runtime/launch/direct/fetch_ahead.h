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

#include "runtime/launch/direct/session.h"
#include "runtime/sftp/download.h"

namespace fileref::runtime::direct {

// A file on its way: what has come of it, and the download that brings the rest.
struct Fetch {
  explicit Fetch(std::string remote) : path(std::move(remote)) {}
  std::string path;
  std::string bytes;
  std::uint64_t size = 0;  // as far as it is known
  // Where the bytes go; false ends the download. At first they are kept here.
  sftp::Download::BytesTaker put_away = [this](std::string_view data) {
    bytes += data;
    return bytes.size() <= size;
  };
  std::unique_ptr<sftp::Asker> asker;  // about its size
  std::unique_ptr<sftp::Download> download;

  bool has_failed() const { return download && !download->failure().empty(); }
  void start(sftp::Connection& connection, std::uint64_t expected_size, std::uint64_t from = 0);
};

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
