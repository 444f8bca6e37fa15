#include "runtime/launch/dialogue/framed_client.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace fileref::runtime {
namespace {

// A client prints line by line. Behind this many bytes it is read at intervals only, because one
// that wakes its reader for every line is slow.
constexpr std::size_t kLongReply = std::size_t{16} << 10;
constexpr std::chrono::milliseconds kReadInterval{1};

constexpr std::size_t kLargestReply = std::size_t{256} << 20;  // far above every listing
constexpr std::size_t kMostErrors = std::size_t{64} << 10;     // enough to judge by

}  // namespace

FramedClient::FramedClient(LaunchRequest request, std::vector<std::string> words,
                           std::unique_ptr<Child> child, Adapter adapter)
    : RecoveringClient(std::move(request), std::move(words), std::move(child)),
      adapter_(std::move(adapter)),
      watch_(progress()),
      stall_(limits().stall) {
  begin_session();
}

void FramedClient::advance(Step step) {
  Answer* answer = std::get_if<Answer>(&step);
  answer ? ended(std::move(*answer)) : start_exchange(std::get<Request>(std::move(step)));
}

void FramedClient::start_exchange(Request request) {
  // What the client says between two exchanges belongs to no answer.
  std::string out, err;
  child().pump(Clock::now(), &out, &err);
  error_lines().add(err);
  remember_errors(err);
  const std::string nonce = make_nonce();
  if (nonce.empty()) return lose(kProcessFailed, "the system gives no random numbers");
  for (const std::string& line : request.lines) note_sent(line);
  limit_ = request.moves ? &LaunchLimits::transfer : quick_limit();
  deadline_ = deadline_after(limits().*limit_);
  exchange_.emplace(std::move(request), adapter_.dialect().sentinel(nonce));
  watch_.begin(exchange_->request());
  if (exchange_->request().moves) stall_.begin();
  child().queue(exchange_->input());
  listen(Clock::now());
}

void FramedClient::go_on(Clock::time_point deadline) {
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
    lose(kEndOfOutput, nothing_moved());
  } else if (exchange_->reply().out.size() > kLargestReply) {
    lose(kProcessFailed, "the client's answer has no end");
  }
}

void FramedClient::listen(Clock::time_point deadline) {
  std::string out, err;
  if (exchange_->reply().out.size() > kLongReply) std::this_thread::sleep_for(kReadInterval);
  child().pump(deadline, &out, &err);
  exchange_->take_output(out);
  if (exchange_->reply().err.size() < kMostErrors) exchange_->take_errors(err);
  error_lines().add(err);
}

// The sentinel was seen. What the client said before it on standard error can be read by now.
void FramedClient::settle() {
  listen(Clock::now());
  error_lines().flush();
  note_output();
  watch_.end();
  stall_.end();
  const Exchange done = *std::move(exchange_);
  exchange_.reset();
  if (!done.request().look) remember_errors(adapter_.dialect().complaint(done.reply()));
  advance(current().take(done.reply()));
}

void FramedClient::give_up() {
  std::string out, err;
  take_last_words(&out, &err);
  if (exchange_) {
    note_output();
    remember_errors(exchange_->reply().err + err);
  }
  watch_.end();
  stall_.end();
  exchange_.reset();
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

}  // namespace fileref::runtime
