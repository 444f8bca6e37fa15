#include "runtime/launch/recovering_client.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "runtime/launch/direct/operation.h"

namespace fileref::runtime {
namespace {

// How long the standard error of a client that has ended is read on: a helper process that it
// started may hold it for ever.
constexpr std::chrono::milliseconds kLastWords{200};

// Before a command is repeated: a server that restarts needs a moment.
constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::milliseconds kLongestPause{30'000};
constexpr int kPauseGrowth = 10;
constexpr std::chrono::milliseconds kLongestNap{50};

}  // namespace

template <class Operation>
RecoveringClient<Operation>::RecoveringClient(LaunchRequest request, std::vector<std::string> words,
                                              std::unique_ptr<Child> child)
    : Client(std::move(request), std::move(words), std::move(child)),
      error_lines_([this](std::string_view line) { note_said(line); }) {}

template <class Operation>
void RecoveringClient<Operation>::begin_session() {
  answer_.clear();
  failure_ = kSuccess;
  forget_failure();
  begin(start(), &LaunchLimits::start);
}

template <class Operation>
void RecoveringClient<Operation>::end_session() {
  child().end(limits().close_grace, limits().close_grace);
  if (operation_ && child().is_ours()) {
    operation_->lost({kEndOfOutput, {}, "the client was closed"}, words());
  }
  resume_.reset();
  operation_.reset();
}

template <class Operation>
TKStatus RecoveringClient<Operation>::send(std::string_view command) {
  if (busy()) run_until(Clock::time_point::max());
  answer_.clear();
  failure_ = kSuccess;
  std::string why;
  std::unique_ptr<Operation> operation = plan(command, &why);
  if (operation && (child().talking() || (was_up_ && retries() > 0))) {
    forget_failure();
    begin(std::move(operation), &LaunchLimits::command);
    return kSuccess;
  }
  if (operation) why = operation->lost({kProcessFailed, {}, how_it_ended()}, words()).explanation;
  explain(why);
  return kProcessFailed;
}

template <class Operation>
TKStatus RecoveringClient<Operation>::read(int mode, char* buffer, std::size_t capacity,
                                           std::size_t* length) {
  *length = 0;
  if (busy()) run_until(mode == 0 ? Clock::now() : Clock::time_point::max());
  if (failure_ != kSuccess) return std::exchange(failure_, kSuccess);
  if (!answer_.is_empty()) {
    *length = answer_.take(buffer, capacity);
    return kSuccess;
  }
  if (child().talking() && mode == 0) return kSuccess;
  if (!wait_for_end(deadline_after(limits().command))) return kNoAnswerInTime;
  explain_ended();
  return kEndOfOutput;
}

// An answer under way is waited for to its end or its limit, since a slow server's silence would
// pass for the end of a listing.
template <class Operation>
TKStatus RecoveringClient<Operation>::wait(std::chrono::milliseconds) {
  if (busy()) run_until(Clock::time_point::max());
  const bool waiting = failure_ == kSuccess && answer_.is_empty() && child().talking();
  return waiting ? kNoAnswerInTime : kSuccess;
}

template <class Operation>
void RecoveringClient<Operation>::pump(std::chrono::milliseconds at_most) {
  if (busy()) run_until(Clock::now() + at_most);
}

template <class Operation>
void RecoveringClient<Operation>::begin(std::unique_ptr<Operation> operation, Limit quick_limit) {
  quick_limit_ = quick_limit;
  operation_ = std::move(operation);
  repetitions_ = 0;
  if (!child().talking()) return lose(kEndOfOutput, {});
  begin_current();
}

template <class Operation>
TKStatus RecoveringClient<Operation>::carry_out(std::unique_ptr<Operation> operation) {
  if (busy()) run_until(Clock::time_point::max());
  const TKStatus undelivered = std::exchange(failure_, kSuccess);
  begin(std::move(operation), &LaunchLimits::command);
  if (busy()) run_until(Clock::time_point::max());
  return std::exchange(failure_, undelivered);
}

// Runs the operation until it has ended, or until `deadline`.
template <class Operation>
void RecoveringClient<Operation>::run_until(Clock::time_point deadline) {
  while (busy()) {
    if (interrupted()) return lose(kProcessFailed, "interrupted");
    repetition_ ? wait_for_repetition(deadline) : go_on(deadline);
    if (Clock::now() >= deadline) return;
  }
}

template <class Operation>
void RecoveringClient<Operation>::ended(Answer answer) {
  resume_ ? take_up_again(std::move(answer)) : finish(std::move(answer));
}

template <class Operation>
void RecoveringClient<Operation>::finish(Answer answer) {
  operation_.reset();
  const bool succeeded = answer.status == kSuccess && !answer.refused;
  was_up_ = was_up_ || succeeded;
  answer_.append(answer.text, std::move(answer.more));
  failure_ = answer.status;
  if (answer.ends_client) child().end(Milliseconds{0}, limits().close_grace);
  if (succeeded) forget_failure();
  if (!succeeded && !answer.explanation.empty()) note("[" + answer.explanation + "]");
  explain(answer.explanation);
}

template <class Operation>
void RecoveringClient<Operation>::lose(TKStatus status, std::string reason) {
  const bool repeats = may_repeat(status);
  if (!repeats) withdraw();
  give_up();
  if (child().talking()) child().end(Milliseconds{0}, limits().close_grace);
  if (reason.empty()) reason = how_it_ended();
  if (repeats) return plan_repetition(reason);
  if (resume_) reason = "the session was lost and is not up again: " + reason;
  if (repetitions_ > 0) reason += "; it was tried " + std::to_string(1 + repetitions_) + " times";
  resume_.reset();
  repetition_.reset();
  finish(operation_->lost({status, {}, std::move(reason)}, words()));
}

template <class Operation>
bool RecoveringClient<Operation>::may_repeat(TKStatus status) const {
  return status == kEndOfOutput && was_up_ && repetitions_ < retries();
}

template <class Operation>
void RecoveringClient<Operation>::plan_repetition(const std::string& reason) {
  Milliseconds pause = kFirstPause;
  for (int i = 0; i < repetitions_; ++i) pause = std::min(kPauseGrowth * pause, kLongestPause);
  ++repetitions_;
  note("[" + reason + ": starting it again, " + std::to_string(repetitions_) + " of " +
       std::to_string(retries()) + "]");
  resume_.reset();
  repetition_ = Clock::now() + pause;
}

template <class Operation>
void RecoveringClient<Operation>::wait_for_repetition(Clock::time_point deadline) {
  std::this_thread::sleep_until(std::min({deadline, *repetition_, Clock::now() + kLongestNap}));
  if (Clock::now() >= *repetition_) resume();
}

template <class Operation>
void RecoveringClient<Operation>::resume() {
  std::string why;
  repetition_.reset();
  resume_ = start();
  if (!restart(&why)) return lose(kEndOfOutput, why);
  quick_limit_ = &LaunchLimits::start;
  begin_current();
}

// The session is up again, or cannot be.
template <class Operation>
void RecoveringClient<Operation>::take_up_again(Answer resumed) {
  if (resumed.status != kSuccess || resumed.refused) {
    return lose(kProcessFailed, std::move(resumed.explanation));
  }
  resume_.reset();
  quick_limit_ = &LaunchLimits::command;
  begin_current();
}

template <class Operation>
bool RecoveringClient<Operation>::wait_for_end(Clock::time_point deadline) {
  std::string out, err;
  while (child().talking() && child().pump(deadline, &out, &err)) {
    error_lines_.add(std::exchange(err, {}));
    out.clear();
  }
  return !child().talking();
}

template <class Operation>
void RecoveringClient<Operation>::remember_errors(std::string_view text) {
  LineBuffer lines([this](std::string_view line) { remember_error(line); });
  lines.add(text);
  lines.flush();
}

template <class Operation>
void RecoveringClient<Operation>::take_last_words(std::string* out, std::string* err) {
  const Clock::time_point last_words = Clock::now() + kLastWords;
  while (!child().talking() && child().pump(last_words, out, err)) {
  }
  error_lines_.add(*err);
  error_lines_.flush();
}

template class RecoveringClient<Operation>;
template class RecoveringClient<direct::Operation>;

}  // namespace fileref::runtime
