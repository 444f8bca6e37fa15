// A remote file on its way here, through one session or several.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/direct/byte_queue.h"
#include "runtime/sftp/attributes.h"
#include "runtime/sftp/download.h"

namespace fileref::runtime::direct {

// Bytes of a file that wait to be read, and those asked for.
constexpr std::uint64_t kMostWaiting = 16 << 20;
constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

class Fetch {
 public:
  using BytesTaker = sftp::Download::BytesTaker;

  // `path` as the server is asked for it.
  explicit Fetch(std::string path) : path_(std::move(path)) {}

  // Where the bytes go, in their order; false ends the fetch. At first they wait here.
  BytesTaker put_away = [this](std::string_view bytes) { return waiting_.add(bytes), true; };
  ByteQueue& waiting() { return waiting_; }

  // Opens what is known to be a regular file of about that many bytes.
  void open(sftp::Connection& connection, std::uint64_t expected_size);
  // Asks what it is before that: to open a FIFO would block the server for ever. One of a size that
  // `wants` refuses is not opened. In a later session it goes on where it stopped, unless the file
  // has changed.
  void look(sftp::Connection& connection, std::function<bool(std::uint64_t size)> wants = {});
  // The session goes, and what is under way with it.
  void drop();
  // What arrived is of no use: the next `look` is like the first.
  void forget();

  // See Download::allow_up_to.
  void allow_up_to(std::uint64_t offset);

  const std::string& path() const { return path_; }
  // In this session.
  bool has_begun() const { return asker_ || download_; }
  // The file is open and its attributes are known, or it is all over.
  bool is_open() const;
  bool has_ended() const { return !failure_.empty() || (download_ && download_->has_ended()); }
  // Once it has ended; empty when every byte was put away. One that was refused had no byte.
  std::string failure() const;
  bool was_refused() const { return refused_ || (download_ && download_->was_refused()); }
  // It is not the file any more whose beginning was put away.
  bool has_changed() const { return changed_; }

  // The offset behind the last byte that was put away.
  std::uint64_t position() const { return download_ ? download_->position() : arrived_; }
  // The size in bytes as far as it is known.
  std::optional<std::uint64_t> size() const;

 private:
  void take_attributes(sftp::Connection& connection, const sftp::Status& status,
                       const sftp::Attributes& now);
  void refuse(std::string failure);
  bool went_on_with_another() const;

  std::string path_;
  ByteQueue waiting_;
  std::function<bool(std::uint64_t size)> wants_;
  std::unique_ptr<sftp::Asker> asker_;
  std::unique_ptr<sftp::Download> download_;
  std::optional<std::uint64_t> expected_size_;
  std::uint64_t limit_ = kNoLimit;
  std::optional<sftp::Attributes> before_;  // of the file, in the session that was lost
  std::uint64_t arrived_ = 0;               // bytes, then
  std::string failure_;
  bool refused_ = false, changed_ = false;
};

}  // namespace fileref::runtime::direct
