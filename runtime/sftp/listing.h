// The names in a remote directory, with what the server says of each.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"

namespace fileref::sftp {

class Listing : public Asker {
 public:
  // Without "." and "..". A name holds neither NUL nor "/", is not empty, and is valid during the
  // call. Servers may send one twice.
  using EntryTaker = std::function<void(std::string_view name, const Attributes& attributes)>;

  Listing(Connection& connection, std::string_view path, EntryTaker taker);
  ~Listing() override;

  bool has_ended() const { return ended_; }
  // Whether the server sent anything at all: some leave "." and ".." out, but for most their
  // absence tells that nothing in the directory may be looked at.
  bool has_shown_anything() const { return shown_; }
  // Once it has ended; empty when every name was given out.
  const std::string& failure() const { return failure_; }
  const Status& status() const { return status_; }  // the server's, behind a failure

 private:
  void opened(const Status& status, std::string_view handle);
  void ask_for_more();
  void take(Reply& reply);
  void take_names(Reader names);
  void end(std::string failure, Status status = {});

  EntryTaker taker_;
  std::string handle_;
  unsigned under_way_ = 0;
  unsigned at_once_;            // requests that may be under way
  unsigned empty_replies_ = 0;  // in a row
  bool shown_ = false, ended_ = false;
  std::string failure_;
  Status status_;
};

}  // namespace fileref::sftp
