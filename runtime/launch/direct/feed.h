// Files that are read while they come.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/byte_source.h"
#include "runtime/launch/direct/fetch.h"
#include "runtime/launch/direct/operation.h"

namespace fileref::runtime::direct {

class Feed;

// The files that are read from one client. They may outlive it, and are cut off then.
class Feeds {
 public:
  // Carries out an operation for a feed: 0, or the code of a failure.
  using Run = std::function<TKStatus(std::unique_ptr<Operation>)>;
  // Is told how much was read of a file when nobody reads it any more.
  using Closed = std::function<void(const Transfer& transfer, std::uint64_t bytes)>;
  Feeds(Run run, Closed closed) : run_(std::move(run)), closed_(std::move(closed)) {}

  bool are_cut_off() const { return !run_; }
  // The client goes.
  void cut_off();
  // The session goes.
  void drop();

 private:
  friend class Feed;
  Run run_;
  Closed closed_;
  std::vector<Feed*> open_;
};

// The bytes of one file. Not more than `kMostWaiting` of them wait here; whoever reads slowly slows
// the transfer. Behind a failure, everything that came before it has been read.
class Feed : public ByteSource {
 public:
  Feed(std::shared_ptr<Feeds> feeds, Transfer transfer, std::unique_ptr<Fetch> fetch);
  ~Feed() override;
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  long read(char* buffer, std::size_t capacity) override;
  bool waits() const override;

 private:
  friend class Feeds;
  class Refill;

  bool has_ended() const;
  std::uint64_t here() const;
  void refill();
  long end();
  long fail(const std::string& reason);

  std::shared_ptr<Feeds> feeds_;
  Transfer transfer_;
  std::unique_ptr<Fetch> fetch_;
  std::uint64_t read_ = 0;  // bytes
  Clock::duration waited_{0};
  std::string lost_;  // why nothing more can come
};

}  // namespace fileref::runtime::direct
