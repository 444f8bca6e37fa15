// The commands that ask what there is under a name.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/command.h"
#include "runtime/launch/direct/operation.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {

// `stat` asks, and follows links. `lstat` does not, and needs no request for what the last listing
// shows.
class Stat : public Operation {
 public:
  Stat(const Session& session, Command command);
  void begin(sftp::Connection& connection) override;
  void drop() override { asker_.reset(); }
  std::optional<Answer> answer() override;

 private:
  struct Found {
    sftp::Status status = {};
    sftp::Attributes attributes = {};
  };

  void ask();
  Answer judge() const;

  const Session& session_;
  std::string name_;
  bool follows_links_;
  std::unique_ptr<sftp::Asker> asker_;
  int awaited_ = 0;  // replies
  Found link_, behind_it_;
  std::optional<Answer> answer_;
};

}  // namespace fileref::runtime::direct
