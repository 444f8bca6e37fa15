// A client whose answers are framed by sentinels and judged by an adapter.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/child/stall_watch.h"
#include "runtime/launch/dialogue/adapter.h"
#include "runtime/launch/dialogue/framing.h"
#include "runtime/launch/dialogue/transfer_watch.h"
#include "runtime/launch/recovering_client.h"

namespace fileref::runtime {

class FramedClient : public RecoveringClient<Operation> {
 public:
  FramedClient(LaunchRequest request, std::vector<std::string> words, std::unique_ptr<Child> child,
               Adapter adapter);
  ~FramedClient() override { end_session(); }

 private:
  std::unique_ptr<Operation> start() override { return adapter_.start(); }
  std::unique_ptr<Operation> plan(std::string_view command, std::string* why) override {
    return adapter_.plan(command, why);
  }
  void begin_current() override { advance(current().begin()); }
  void go_on(Clock::time_point deadline) override;
  void give_up() override;

  void advance(Step step);
  void start_exchange(Request request);
  void listen(Clock::time_point deadline);
  void settle();
  void note_output();

  Adapter adapter_;
  TransferWatch watch_;
  StallWatch stall_;
  std::optional<Exchange> exchange_;
  Clock::time_point deadline_;  // of the exchange
  Limit limit_ = &LaunchLimits::start;
};

}  // namespace fileref::runtime
