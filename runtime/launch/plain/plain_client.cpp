#include "runtime/launch/plain/plain_client.h"

#include <utility>

#include "runtime/launch/start_failure.h"
#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

// Beyond this the client is left waiting until somebody reads.
constexpr std::size_t kMostUndelivered = std::size_t{1} << 20;
constexpr std::size_t kPromptLength = 6;

constexpr std::string_view kPrompt = "sftp> ";

// psftp's exit status then. It repeats no commands.
constexpr int kBatchFailed = 2;

bool ends_in_prompt(std::string_view text) {
  return text.ends_with("sftp> ") || text.ends_with("sftp>");
}

bool moves_contents(std::string_view command) {
  return command.starts_with("get ") || command.starts_with("put ");
}

}  // namespace

PlainClient::PlainClient(LaunchRequest request, std::vector<std::string> words,
                         std::unique_ptr<Child> child, bool batch)
    : Client(std::move(request), std::move(words), std::move(child)),
      output_lines_([this](std::string_view line) {
        note_said(line);
        remember_output(line);
        if (line.starts_with(kPrompt)) stopped_at_ = line.substr(kPrompt.size());
      }),
      error_lines_([this](std::string_view line) {
        note_said(line);
        // It tells of failures on its standard output, so all that it says belongs together.
        adapter() == "psftp" ? remember_output(line) : remember_error(line);
      }),
      outcome_is_open_(batch) {
  expect_answer(batch ? &LaunchLimits::transfer : &LaunchLimits::start);
  if (batch) close_streams();
}

TKStatus PlainClient::send(std::string_view escaped) {
  const std::string command = unescape_name(escaped);
  if (command.find('\0') != command.npos || command.find('\n') + 1 < command.size()) {
    explain("a command cannot hold a NUL byte or a line feed");
    return kProcessFailed;
  }
  listen(Clock::now());
  if (!talking()) {
    explain_ended();
    return kProcessFailed;
  }
  forget_failure();
  output_lines_.flush();
  output_.clear();
  tail_.clear();
  note_sent(std::string_view(command).substr(0, command.find('\n')));
  expect_answer(moves_contents(command) ? &LaunchLimits::transfer : &LaunchLimits::command);
  child().queue(command);
  listen(Clock::now());
  return kSuccess;
}

TKStatus PlainClient::read(int mode, char* buffer, std::size_t capacity, std::size_t* length) {
  *length = 0;
  // Behind an answer, more may come, but none is owed.
  if (prompted_) deadline_ = deadline_after(limits().command);
  bool heard = true;
  while (heard && output_.is_empty()) heard = listen(mode == 0 ? Clock::now() : deadline_);
  if (!output_.is_empty()) {
    *length = output_.take(buffer, capacity);
    return kSuccess;
  }
  if (!talking()) return end_of_output();
  if (interrupted()) {
    give_up("interrupted");
    return kProcessFailed;
  }
  if (mode == 0) return kSuccess;
  if (!prompted_) give_up(no_answer_within(limit_));
  return kNoAnswerInTime;
}

TKStatus PlainClient::wait(std::chrono::milliseconds at_most) {
  const Clock::time_point deadline = Clock::now() + at_most;
  while (output_.is_empty() && listen(deadline)) {
  }
  return !output_.is_empty() || !talking() ? kSuccess : kNoAnswerInTime;
}

void PlainClient::pump(std::chrono::milliseconds at_most) {
  const Clock::time_point deadline = Clock::now() + at_most;
  while (busy() && output_.ready() < kMostUndelivered && listen(deadline)) {
  }
}

void PlainClient::expect_answer(Limit limit) {
  prompted_ = false;
  limit_ = limit;
  deadline_ = deadline_after(limits().*limit);
}

bool PlainClient::listen(Clock::time_point deadline) {
  std::string out, err;
  const bool heard = child().pump(deadline, &out, &err);
  output_.append(out);
  output_lines_.add(out);
  error_lines_.add(err);
  tail_ += out;
  if (tail_.size() > kPromptLength) tail_.erase(0, tail_.size() - kPromptLength);
  prompted_ = ends_in_prompt(tail_);
  if (!talking()) {
    output_lines_.flush();
    error_lines_.flush();
  }
  return heard;
}

TKStatus PlainClient::end_of_output() {
  explain_ended();
  const bool failed = std::exchange(outcome_is_open_, false) && exit_status() != 0;
  if (failed) explain_failed_batch();
  return failed ? kProcessFailed : kEndOfOutput;
}

void PlainClient::explain_failed_batch() {
  const std::string cause = explain_start_failure(words());
  if (!stopped_at_.empty()) {
    explain("the batch stopped at \"" + stopped_at_ + '"');
  } else if (exit_status() == kBatchFailed) {
    explain("a command of the batch failed");
  } else if (!cause.empty()) {
    explain(cause);
  }
}

void PlainClient::give_up(const std::string& reason) {
  child().end(Milliseconds{0}, limits().close_grace);
  output_lines_.flush();
  error_lines_.flush();
  explain(reason);
}

}  // namespace fileref::runtime
