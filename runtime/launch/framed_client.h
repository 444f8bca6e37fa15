// A client whose answers are framed by sentinels and judged by an adapter. One that ends is started
// again, and the command under way repeated, as often as the request allows.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/adapter.h"
#include "runtime/launch/client.h"
#include "runtime/launch/delivery.h"
#include "runtime/launch/framing.h"
#include "runtime/launch/stall_watch.h"

namespace fileref::runtime {

class FramedClient : public Client {
 public:
  FramedClient(LaunchRequest request, std::vector<std::string> words, std::unique_ptr<Child> child,
               Adapter adapter);
  ~FramedClient() override;

  TKStatus send(std::string_view command) override;
  TKStatus read(int mode, char* buffer, std::size_t capacity, std::size_t* length) override;
  TKStatus wait(std::chrono::milliseconds at_most) override;
  void pump(std::chrono::milliseconds at_most) override;
  bool busy() const override { return operation_ != nullptr; }

 private:
  void begin(std::unique_ptr<Operation> operation, Limit quick_limit);
  Operation& current() { return resume_ ? *resume_ : *operation_; }
  void advance(Step step);
  void start_exchange(Request request);
  void run_until(Clock::time_point deadline);
  void listen(Clock::time_point deadline);
  void settle();
  void finish(const Answer& answer);
  void lose(TKStatus status, std::string reason);
  bool may_repeat(TKStatus status) const;
  void plan_repetition(const std::string& reason);
  void wait_for_repetition(Clock::time_point deadline);
  void resume();
  void take_up_again(Answer resumed);
  bool wait_for_end(Clock::time_point deadline);
  void note_output();
  void remember_errors(std::string_view text);

  Adapter adapter_;
  TransferWatch watch_;
  StallWatch stall_;
  std::unique_ptr<Operation> operation_;  // while an answer is under way
  std::unique_ptr<Operation> resume_;     // that brings the session up for it again
  std::optional<Exchange> exchange_;      // none under way: the repetition is waited for
  Clock::time_point repetition_;          // when it is due
  int repetitions_ = 0;                   // of the operation
  bool was_up_ = false;                   // the session, once
  Clock::time_point deadline_;            // of the exchange
  Limit limit_ = &LaunchLimits::start;
  Limit quick_limit_ = &LaunchLimits::start;  // of the exchanges that move no file contents
  LineBuffer error_lines_;
  Delivery answer_;
  TKStatus failure_ = kSuccess;  // to be reported by the next read
};

}  // namespace fileref::runtime
