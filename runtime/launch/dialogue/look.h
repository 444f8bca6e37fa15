// Finds out what is there under a remote path.
#pragma once

#include <optional>
#include <string>

#include "runtime/launch/dialogue/dialect.h"

namespace fileref::runtime {

class Look {
 public:
  Look(const Dialect& dialect, std::string path) : dialect_(dialect), path_(std::move(path)) {}

  Request begin();
  // The next request; nothing once it is found out.
  std::optional<Request> take(const Reply& reply);
  const RemoteFile& found() const { return found_; }

 private:
  const Dialect& dialect_;
  std::string path_;
  int more_ = 0;  // looks that are allowed
  RemoteFile found_;
};

}  // namespace fileref::runtime
