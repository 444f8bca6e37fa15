#include "runtime/launch/framed_client.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace fileref::runtime {
namespace {

// How long the standard error of a client that has ended is read on: a helper process that it
// started may hold it for ever.
constexpr std::chrono::milliseconds kLastWords{200};

// A client prints line by line. Behind this many bytes it is read at intervals only, because one
// that wakes its reader for every line is slow.
constexpr std::size_t kLongReply = std::size_t{16} << 10;
constexpr std::chrono::milliseconds kReadInterval{1};

// Before a command is repeated: a server that restarts needs a moment.
constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::milliseconds kLongestPause{30'000};
constexpr int kPauseGrowth = 10;
constexpr std::chrono::milliseconds kLongestNap{50};

constexpr std::size_t kLargestReply = std::size_t{256} << 20;  // far above every listing
constexpr std::size_t kMostErrors = std::size_t{64} << 10;     // enough to judge by

}  // namespace

FramedClient::FramedClient(LaunchRequest request, std::vector<std::string> words,
                           std::unique_ptr<Child> child, Adapter adapter)
    : Client(std::move(request), std::move(words), std::move(child)),
      adapter_(std::move(adapter)),
      watch_(progress()),
      stall_(limits().stall),
      error_lines_([this](std::string_view line) { note_said(line); }) {
  begin(adapter_.start(), &LaunchLimits::start);
}

// An operation that is broken off here still puts its local files in order, once the client no
// longer writes to them.
FramedClient::~FramedClient() {
  child().end(limits().close_grace, limits().close_grace);
  if (operation_ && child().is_ours()) {
    operation_->lost({kEndOfOutput, {}, "the client was closed"}, words());
  }
}

TKStatus FramedClient::send(std::string_view command) {
  if (busy()) run_until(Clock::time_point::max());
  answer_.clear();
  failure_ = kSuccess;
  std::string why;
  std::unique_ptr<Operation> operation = adapter_.plan(command, &why);
  if (operation && (child().talking() || (was_up_ && retries() > 0))) {
    forget_failure();
    begin(std::move(operation), &LaunchLimits::command);
    return kSuccess;
  }
  if (operation) why = operation->lost({kProcessFailed, {}, how_it_ended()}, words()).explanation;
  explain(why);
  return kProcessFailed;
}

TKStatus FramedClient::read(int mode, char* buffer, std::size_t capacity, std::size_t* length) {
  *length = 0;
  if (busy()) run_until(mode == 0 ? Clock::now() : Clock::time_point::max());
  if (failure_ != kSuccess) return std::exchange(failure_, kSuccess);
  if (answer_.left() > 0) {
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
TKStatus FramedClient::wait(std::chrono::milliseconds) {
  if (busy()) run_until(Clock::time_point::max());
  const bool waiting = failure_ == kSuccess && answer_.left() == 0 && child().talking();
  return waiting ? kNoAnswerInTime : kSuccess;
}

void FramedClient::pump(std::chrono::milliseconds at_most) {
  if (busy()) run_until(Clock::now() + at_most);
}

void FramedClient::begin(std::unique_ptr<Operation> operation, Limit quick_limit) {
  quick_limit_ = quick_limit;
  operation_ = std::move(operation);
  repetitions_ = 0;
  if (!child().talking()) return lose(kEndOfOutput, {});
  advance(operation_->begin());
}

void FramedClient::advance(Step step) {
  Answer* answer = std::get_if<Answer>(&step);
  if (answer && resume_) {
    take_up_again(std::move(*answer));
  } else if (answer) {
    finish(*answer);
  } else {
    start_exchange(std::get<Request>(std::move(step)));
  }
}

void FramedClient::start_exchange(Request request) {
  // What the client says between two exchanges belongs to no answer.
  std::string out, err;
  child().pump(Clock::now(), &out, &err);
  error_lines_.add(err);
  remember_errors(err);
  const std::string nonce = make_nonce();
  if (nonce.empty()) return lose(kProcessFailed, "the system gives no random numbers");
  for (const std::string& line : request.lines) note_sent(line);
  limit_ = request.moves ? &LaunchLimits::transfer : quick_limit_;
  deadline_ = deadline_after(limits().*limit_);
  exchange_.emplace(std::move(request), adapter_.dialect().sentinel(nonce));
  watch_.begin(exchange_->request());
  if (exchange_->request().moves) stall_.begin();
  child().queue(exchange_->input());
  listen(Clock::now());
}

// Runs the operation until it has ended, or until `deadline`.
void FramedClient::run_until(Clock::time_point deadline) {
  while (busy()) {
    if (interrupted()) return lose(kProcessFailed, "interrupted");
    if (!exchange_) {
      wait_for_repetition(deadline);
      if (!exchange_ && Clock::now() >= deadline) return;
      continue;
    }
    if (!exchange_->complete()) listen(std::min({deadline, deadline_, watch_.due(), stall_.due()}));
    watch_.look(child().pid());
    const bool stalled = stall_.look(child().pid());
    if (exchange_->complete()) {
      settle();
    } else if (!child().talking()) {
      lose(kEndOfOutput, {});
    } else if (Clock::now() >= deadline_) {
      lose(kNoAnswerInTime, no_answer_within(limit_));
    } else if (stalled) {
      lose(kEndOfOutput,
           "nothing has moved for " + in_seconds(limits().stall) + " (--stall-limit raises it)");
    } else if (exchange_->reply().out.size() > kLargestReply) {
      lose(kProcessFailed, "the client's answer has no end");
    } else if (Clock::now() >= deadline) {
      return;
    }
  }
}

void FramedClient::listen(Clock::time_point deadline) {
  std::string out, err;
  if (exchange_->reply().out.size() > kLongReply) std::this_thread::sleep_for(kReadInterval);
  child().pump(deadline, &out, &err);
  exchange_->take_output(out);
  if (exchange_->reply().err.size() < kMostErrors) exchange_->take_errors(err);
  error_lines_.add(err);
}

// The sentinel was seen. What the client said before it on standard error can be read by now.
void FramedClient::settle() {
  listen(Clock::now());
  error_lines_.flush();
  note_output();
  watch_.end();
  stall_.end();
  const Exchange done = *std::move(exchange_);
  exchange_.reset();
  if (!done.request().look) remember_errors(adapter_.dialect().complaint(done.reply()));
  advance(current().take(done.reply()));
}

void FramedClient::finish(const Answer& answer) {
  operation_.reset();
  const bool succeeded = answer.status == kSuccess && !answer.refused;
  was_up_ = was_up_ || succeeded;
  answer_.append(answer.text);
  failure_ = answer.status;
  if (answer.ends_client) child().end(Milliseconds{0}, limits().close_grace);
  if (succeeded) forget_failure();
  explain(answer.explanation);
}

// No answer can come any more; a client that still runs is ended.
void FramedClient::lose(TKStatus status, std::string reason) {
  std::string out, err;
  const Clock::time_point last_words = Clock::now() + kLastWords;
  while (!child().talking() && child().pump(last_words, &out, &err)) {
  }
  error_lines_.add(err);
  error_lines_.flush();
  if (exchange_) {
    note_output();
    remember_errors(exchange_->reply().err + err);
  }
  watch_.end();
  stall_.end();
  exchange_.reset();
  if (child().talking()) child().end(Milliseconds{0}, limits().close_grace);
  if (reason.empty()) reason = how_it_ended();
  if (may_repeat(status)) return plan_repetition(reason);
  if (resume_) reason = "the session was lost and is not up again: " + reason;
  if (repetitions_ > 0) reason += "; it was tried " + std::to_string(1 + repetitions_) + " times";
  resume_.reset();
  finish(operation_->lost({status, {}, std::move(reason)}, words()));
}

bool FramedClient::may_repeat(TKStatus status) const {
  return status == kEndOfOutput && was_up_ && repetitions_ < retries();
}

void FramedClient::plan_repetition(const std::string& reason) {
  Milliseconds pause = kFirstPause;
  for (int i = 0; i < repetitions_; ++i) pause = std::min(kPauseGrowth * pause, kLongestPause);
  ++repetitions_;
  note("[" + reason + ": starting it again, " + std::to_string(repetitions_) + " of " +
       std::to_string(retries()) + "]");
  resume_.reset();
  repetition_ = Clock::now() + pause;
}

void FramedClient::wait_for_repetition(Clock::time_point deadline) {
  std::this_thread::sleep_until(std::min({deadline, repetition_, Clock::now() + kLongestNap}));
  if (Clock::now() >= repetition_) resume();
}

void FramedClient::resume() {
  std::string why;
  resume_ = adapter_.start();
  if (!restart(&why)) return lose(kEndOfOutput, why);
  quick_limit_ = &LaunchLimits::start;
  advance(resume_->begin());
}

// The session is up again, or cannot be.
void FramedClient::take_up_again(Answer resumed) {
  if (resumed.status != kSuccess || resumed.refused) {
    return lose(kProcessFailed, std::move(resumed.explanation));
  }
  resume_.reset();
  quick_limit_ = &LaunchLimits::command;
  advance(operation_->begin());
}

bool FramedClient::wait_for_end(Clock::time_point deadline) {
  std::string out, err;
  while (child().talking() && child().pump(deadline, &out, &err)) {
    error_lines_.add(std::exchange(err, {}));
    out.clear();
  }
  return !child().talking();
}

// Passes on what the client wrote on standard output, without its echo of our lines.
void FramedClient::note_output() {
  std::vector<std::string> echoes{adapter_.dialect().echo("")};
  for (const std::string& line : exchange_->request().lines)
    echoes.push_back(adapter_.dialect().echo(line));
  LineBuffer lines([&](std::string_view line) {
    if (std::find(echoes.begin(), echoes.end(), line) != echoes.end()) return;
    note_said(line);
    if (!exchange_->complete()) remember_output(line);
  });
  const std::string_view out = exchange_->reply().out;
  lines.add(out.substr(0, kMostNoted));
  lines.flush();
  leave_out(out.size() - std::min(out.size(), kMostNoted));
}

void FramedClient::remember_errors(std::string_view text) {
  LineBuffer lines([this](std::string_view line) { remember_error(line); });
  lines.add(text);
  lines.flush();
}

}  // namespace fileref::runtime
