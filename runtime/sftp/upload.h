// A remote file made of local bytes, with as many writes under way as keep the line busy. Every
// write's outcome counts, that of the close, and the size that the server then states.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"
#include "runtime/sftp/requests.h"

namespace fileref::sftp {

class Upload : public Asker {
 public:
  // Reads at most `capacity` bytes that come next; 0 at the end, -1 when they cannot be read.
  using Source = std::function<long(char* buffer, std::size_t capacity)>;

  struct Options {
    std::uint32_t mode = 0666;  // of a file that is made
    // With a name here the data goes to a new file of that name in the same directory, which takes
    // the place of `path` once it is whole. The server must know kReplacingRename.
    std::string by_way_of = {};
    std::optional<std::uint32_t> replaced_mode = {};  // of the file that is then replaced
    bool waits = false;                               // for its owner to look at what was written
  };

  Upload(Connection& connection, std::string path, Options options, Source source);
  ~Upload() override;

  void go_on() override;

  bool has_ended() const { return state_ == State::kEnded; }
  // Whether everything is written, and waits to be accepted or refused.
  bool is_written() const { return state_ == State::kWritten; }
  void accept();
  // Ends it as failed; what was written under another name is removed.
  void fail(std::string reason);
  const std::string& written_path() const { return is_by_way() ? options_.by_way_of : path_; }
  // Once it has ended; empty when the file is there, whole.
  const std::string& failure() const { return failure_; }
  // Whether what was begun under another name may still be there.
  bool leaves_part() const { return leaves_part_; }
  // Whether the file may hold part of the data: a replaced one is never changed but as a whole.
  bool has_touched() const { return touched_; }
  // Bytes whose arrival the server has confirmed.
  std::uint64_t confirmed() const { return confirmed_; }

 private:
  enum class State { kOpening, kWriting, kClosing, kWritten, kRenaming, kRemoving, kEnded };

  bool is_by_way() const { return !options_.by_way_of.empty(); }
  void opened(const Status& status, std::string_view handle);
  void write_block();
  void take_confirmation(std::size_t length, const Status& status);
  void finish_writing();
  void take_outcome(const char* of, const Status& status);
  void take_size(const Status& status, const Attributes& attributes);
  void close();
  void closed();
  void end();

  std::string path_;
  Options options_;
  Source source_;
  State state_ = State::kOpening;
  std::string handle_;
  std::vector<char> block_;
  std::uint64_t sent_ = 0, confirmed_ = 0;
  std::size_t awaited_ = 0;  // replies to what is asked once everything is written
  bool source_ended_ = false;
  bool touched_ = false;
  bool leaves_part_ = false;
  std::string failure_;
};

}  // namespace fileref::sftp
