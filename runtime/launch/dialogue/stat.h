// The commands that ask what there is under a name.
#pragma once

#include <string>

#include "runtime/launch/command.h"
#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/dialogue/look.h"
#include "runtime/launch/dialogue/session.h"

namespace fileref::runtime {

// `stat` asks, and follows links. `lstat` takes what the last listing shows, which is asked for
// again with kinds and sizes if it has none.
class Stat : public Operation {
 public:
  // `name` is the name as a listing shows it; the command has it as the client takes it.
  Stat(const Dialect& dialect, Session* session, std::string name, const Command& command);
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  Answer judge(const RemoteFile& found) const;

  const Dialect& dialect_;
  Session* session_;
  std::string name_;
  bool follows_links_;
  Look look_;
  bool asks_all_ = false;
};

}  // namespace fileref::runtime
