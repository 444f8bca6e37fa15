// Looks from outside how far a client has come with a transfer.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "runtime/launch/child/child.h"
#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

// Is told how many bytes have moved, a last time when the transfer has ended one way or another.
using ProgressReport =
    std::function<void(const Transfer& transfer, std::uint64_t bytes, bool ended)>;

class TransferWatch {
 public:
  // Without a report there is nothing to look for.
  explicit TransferWatch(ProgressReport report) : report_(std::move(report)) {}

  void begin(const Request& request);
  void end();

  // When to look next.
  Clock::time_point due() const { return transfer_ ? due_ : Clock::time_point::max(); }
  // Looks, if that is due, and tells what `client` has moved.
  void look(pid_t client);

 private:
  ProgressReport report_;
  std::optional<Transfer> transfer_;  // under way
  Clock::time_point due_;
  std::optional<std::uint64_t> told_;
};

}  // namespace fileref::runtime
