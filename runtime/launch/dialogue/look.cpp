#include "runtime/launch/dialogue/look.h"

namespace fileref::runtime {

Request Look::begin() {
  more_ = 2;
  return looking(dialect_.look(path_));
}

std::optional<Request> Look::take(const Reply& reply) {
  const std::string line = more_-- > 0 ? dialect_.look_on(reply, path_) : "";
  if (!line.empty()) return looking(line);
  found_ = dialect_.found(reply, path_);
  return std::nullopt;
}

}  // namespace fileref::runtime
