// A client that is started again when it ends, and the command under way repeated in a session that
// stands in the same directory, as often as the request allows.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/client.h"
#include "runtime/launch/delivery.h"
#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

// An Operation has `Answer lost(Answer failure, std::string_view words)`, see operation.h.
template <class Operation>
class RecoveringClient : public Client {
 public:
  TKStatus send(std::string_view command) override;
  TKStatus read(int mode, char* buffer, std::size_t capacity, std::size_t* length) override;
  TKStatus wait(std::chrono::milliseconds at_most) override;
  void pump(std::chrono::milliseconds at_most) override;
  bool busy() const override { return operation_ != nullptr; }
  bool knows_files() const override { return true; }

 protected:
  RecoveringClient(LaunchRequest request, std::vector<std::string> words,
                   std::unique_ptr<Child> child);

  // The operation that waits for a session to be up, and stands where an earlier one stood.
  virtual std::unique_ptr<Operation> start() = 0;
  // The one for a command; null, and why, when that must not be sent.
  virtual std::unique_ptr<Operation> plan(std::string_view command, std::string* why) = 0;
  // Begins the current operation with a client that runs.
  virtual void begin_current() = 0;
  // Goes on with it as far as that is possible by `deadline`. Both call `ended` or `lose` once it
  // cannot go on.
  virtual void go_on(Clock::time_point deadline) = 0;
  // The operation is given up, and not repeated: takes back on the server what can be taken back
  // within the close grace.
  virtual void withdraw() {}
  // The client has ended, or is about to be: takes its last words, and drops what is under way.
  virtual void give_up() = 0;

  // The constructor of each client begins with this, and its destructor ends with the other: an
  // operation that is broken off puts its local files in order, once nobody writes to them.
  void begin_session();
  void end_session();

  // Carries out an operation of the client's own behind what is under way: 0, or why it failed. No
  // answer is delivered.
  TKStatus carry_out(std::unique_ptr<Operation> operation);

  Operation& current() { return resume_ ? *resume_ : *operation_; }
  void ended(Answer answer);
  // No answer can come any more; a client that still runs is ended.
  void lose(TKStatus status, std::string reason);

  // Of what moves no file contents.
  Limit quick_limit() const { return quick_limit_; }
  LineBuffer& error_lines() { return error_lines_; }
  void remember_errors(std::string_view text);
  // What the client still has to say when its output has ended.
  void take_last_words(std::string* out, std::string* err);

 private:
  void begin(std::unique_ptr<Operation> operation, Limit quick_limit);
  void run_until(Clock::time_point deadline);
  void finish(Answer answer);
  bool may_repeat(TKStatus status) const;
  void plan_repetition(const std::string& reason);
  void wait_for_repetition(Clock::time_point deadline);
  void resume();
  void take_up_again(Answer resumed);
  bool wait_for_end(Clock::time_point deadline);

  LineBuffer error_lines_;
  std::unique_ptr<Operation> operation_;         // while an answer is under way
  std::unique_ptr<Operation> resume_;            // that brings the session up for it again
  std::optional<Clock::time_point> repetition_;  // that is waited for
  int repetitions_ = 0;                          // of the operation
  bool was_up_ = false;                          // the session, once
  Limit quick_limit_ = &LaunchLimits::start;
  Delivery answer_;
  TKStatus failure_ = kSuccess;  // to be reported by the next read
};

}  // namespace fileref::runtime
