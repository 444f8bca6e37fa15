// Notices when a transfer does not go on, in what the system tells of the client's processes: the
// server may be slow, so that seconds pass between two signs of life.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "runtime/launch/child/child.h"

namespace fileref::runtime {

class StallWatch {
 public:
  // Without a limit, 0, nothing is ever noticed.
  explicit StallWatch(std::chrono::milliseconds limit) : limit_(limit) {}

  // A transfer begins; it ends.
  void begin();
  void end() { watching_ = false; }

  // When to look next.
  Clock::time_point due() const { return watching_ ? due_ : Clock::time_point::max(); }
  // Looks, if that is due. True when nothing has moved for the limit, looks that came late counted
  // as one: a host that was stopped has not waited.
  bool look(pid_t client);

 private:
  // What moves while a transfer does, counted since the processes began.
  struct Moved {
    std::uint64_t by_client = 0;   // bytes read, written and sent by the client itself
    std::uint64_t by_helpers = 0;  // and by what it started
  };
  std::chrono::milliseconds interval() const;  // between two looks
  static std::optional<Moved> moved(pid_t client);
  static bool goes_on(const Moved& before, const Moved& now);

  std::chrono::milliseconds limit_;
  bool watching_ = false;
  std::optional<Moved> last_;  // when there was a sign of life
  int looks_without_ = 0;
  Clock::time_point due_;
};

}  // namespace fileref::runtime
