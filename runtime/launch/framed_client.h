// A client whose answers are framed by sentinels and judged by an adapter.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/adapter.h"
#include "runtime/launch/client.h"
#include "runtime/launch/delivery.h"
#include "runtime/launch/framing.h"

namespace fileref::runtime {

class FramedClient : public Client {
 public:
  FramedClient(LaunchRequest request, std::unique_ptr<Child> child,
               std::unique_ptr<Adapter> adapter);
  ~FramedClient() override;

  TKStatus send(std::string_view command) override;
  TKStatus read(int mode, char* buffer, std::size_t capacity, std::size_t* length) override;
  TKStatus wait(std::chrono::milliseconds at_most) override;
  void pump(std::chrono::milliseconds at_most) override;
  bool busy() const override { return operation_ != nullptr; }

 private:
  void begin(std::unique_ptr<Operation> operation, Milliseconds quick_limit);
  void advance(Step step);
  void start_exchange(Request request);
  void run_until(Clock::time_point deadline);
  void listen(Clock::time_point deadline);
  void settle();
  void finish(Answer answer);
  void lose(TKStatus status, std::string reason);
  bool wait_for_end(Clock::time_point deadline);
  void note_output();
  void remember_errors(std::string_view text);

  std::unique_ptr<Adapter> adapter_;
  std::unique_ptr<Operation> operation_;  // while an answer is under way
  std::optional<Exchange> exchange_;
  Clock::time_point deadline_;  // of the exchange
  Milliseconds limit_{0};
  Milliseconds quick_limit_{0};  // of the operation's exchanges that move no file contents
  LineBuffer error_lines_;
  Delivery answer_;
  TKStatus failure_ = kSuccess;  // to be reported by the next read
};

}  // namespace fileref::runtime
