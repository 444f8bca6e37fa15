// The contents of a remote file, with as many requests under way as keep the line busy.
//
// The end is where the server says so, at the very place that was asked; fewer bytes than the size
// that it stated for the open file are a failure, and so is a file that was seen to change under
// way. One that grows is read to the size that it had. A short reply is asked again for what it
// lacks, and replies may come in any order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"

namespace fileref::sftp {

class Download : public Asker {
 public:
  // Takes the bytes in their order. False ends the download: they could not be put away.
  using BytesTaker = std::function<bool(std::string_view bytes)>;

  struct Options {
    std::optional<std::uint64_t> expected_size = {};  // spares a round trip if it is right
    std::uint64_t from = 0;                           // the offset to begin at, in bytes
  };

  Download(Connection& connection, std::string_view path, Options options, BytesTaker taker);
  ~Download() override;

  // Nothing is asked for behind this offset, until it is called with a larger one. At first there
  // is no such limit.
  void allow_up_to(std::uint64_t offset);

  // What the server says of the open file has come, or it has ended.
  bool is_open() const { return knows_attributes_ || has_ended(); }
  bool has_ended() const { return state_ == State::kEnded; }
  // Once it has ended; empty when every byte was taken. One that was `refused` had no byte.
  const std::string& failure() const { return failure_; }
  bool was_refused() const { return refused_; }

  // What the server says of the open file, once it has said so.
  const std::optional<Attributes>& attributes() const { return attributes_; }
  // The offset behind the last byte that was taken.
  std::uint64_t position() const { return position_; }

 private:
  enum class State { kOpening, kReading, kEnded };

  void opened(const Status& status, std::string_view handle);
  void take_attributes(const Status& status, const Attributes& attributes);
  void ask_ahead();
  void look_again();
  std::string change(const Status& status, const Attributes& now) const;
  std::uint64_t size() const;
  std::uint64_t allowed_ahead() const;
  void ask(std::uint64_t offset, std::uint32_t length);
  void take(std::uint64_t offset, std::uint32_t asked, Reply& reply);
  void take_data(std::uint64_t offset, std::uint32_t asked, std::string_view data);
  void deliver(std::uint64_t offset, std::string_view data);
  bool hand_on(std::string_view data);
  void look_for_the_end();
  void end(std::string failure);

  BytesTaker taker_;
  Options options_;
  State state_ = State::kOpening;
  std::string handle_;
  std::optional<Attributes> attributes_;
  bool knows_attributes_ = false;                   // or that there are none
  std::uint64_t position_;                          // everything before it was taken
  std::uint64_t next_;                              // everything before it was asked for
  std::uint64_t limit_ = ~std::uint64_t{0};         // nothing is asked for behind it
  std::optional<std::uint64_t> end_;                // the lowest offset that is at the end
  std::uint64_t window_;                            // bytes that may be between the two
  std::map<std::uint64_t, std::string> too_early_;  // data behind `position_`
  bool looks_again_ = false;                        // and the answer has not come
  bool has_looked_again_ = false;
  std::string changed_;  // what that look has shown
  std::string failure_;
  bool refused_ = false;
};

}  // namespace fileref::sftp
