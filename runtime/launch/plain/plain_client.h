// A client that nothing is known about: bytes pass through as they come.
#pragma once

#include <string>
#include <string_view>

#include "runtime/launch/client.h"
#include "runtime/launch/delivery.h"

namespace fileref::runtime {

class PlainClient : public Client {
 public:
  // With `batch`, the client takes no commands, and its exit status tells the outcome.
  PlainClient(LaunchRequest request, std::vector<std::string> words, std::unique_ptr<Child> child,
              bool batch);

  TKStatus send(std::string_view escaped) override;
  TKStatus read(int mode, char* buffer, std::size_t capacity, std::size_t* length) override;
  TKStatus wait(std::chrono::milliseconds at_most) override;
  void pump(std::chrono::milliseconds at_most) override;
  // As far as anybody can tell: what was printed so far does not end in a prompt.
  bool busy() const override { return !prompted_ && talking(); }

 private:
  bool talking() const { return child().talking(); }
  void expect_answer(Limit limit);
  bool listen(Clock::time_point deadline);
  void give_up(const std::string& reason);
  TKStatus end_of_output();
  void explain_failed_batch();

  LineBuffer output_lines_, error_lines_;
  Delivery output_;
  std::string tail_;        // the last bytes that arrived, delivered or not
  std::string stopped_at_;  // the last command of a batch that the client repeated
  bool prompted_ = false;
  bool outcome_is_open_;  // the exit status is still to be reported
  Limit limit_ = &LaunchLimits::start;
  Clock::time_point deadline_;
};

}  // namespace fileref::runtime
