// A running client program and the dialogue with it: one command, one answer, strictly in turn.
//
// Used from one thread. Results are 0 or a code of host/codes.h:
//   kEndOfOutput      the client has ended
//   kNoAnswerInTime   a limit was exceeded; a client that still owed an answer is ended
//   kProcessFailed    a command could not be sent, or its outcome is a failure
// Behind each of them, explanation() and words() say why.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/launch.h"
#include "host/codes.h"
#include "host/toolkit.h"
#include "runtime/byte_source.h"
#include "runtime/launch/blot.h"
#include "runtime/launch/child/child.h"
#include "runtime/launch/dialogue/transfer_watch.h"
#include "runtime/launch/line_buffer.h"
#include "runtime/lent_files.h"

namespace fileref::runtime {

using fileref::LaunchLimits;
using Limit = std::chrono::milliseconds LaunchLimits::*;

// With what the library's own host asks for beyond any other.
struct LaunchRequest : fileref::LaunchRequest {
  std::vector<std::string> extra_arguments = {};  // inserted right behind the program
  // Names that are likely to be fetched one after the other: "direct" fetches them ahead.
  std::vector<std::string> expected = {};
  // Journal every request and reply of the protocol: "direct" only.
  bool trace = false;
  // Is told each line that the client says.
  std::function<void(std::string_view)> said = {};
  // What must appear in nothing that is told of the client and its words, beside `secrets`.
  Blot blot = {};
  // Is told about five times a second how far a transfer has come. It must not throw.
  ProgressReport progress = {};
  // Takes the bytes of a file that was asked for as `local`, which come while they are read:
  // "direct" only. Without it, as with every other client, `local` is a whole file when its get is
  // answered. A file that breaks off while it is read is told to `trouble`.
  std::function<void(const std::string& local, std::unique_ptr<ByteSource>)> feed = {};
  // What stands for local files that are to be sent: only clients that say so send it.
  LentFiles* lent = nullptr;
};

class Client {
 public:
  // Starts the client; its first answer is under way then. Returns null and says why when there is
  // no host, a quote is not closed, a batch file cannot be read, or the program cannot be run.
  static std::unique_ptr<Client> launch(LaunchRequest request, std::string* why);

  // Closes the streams and ends the client (TERM, then KILL, each after the grace). Always reaped.
  virtual ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Sends one command, a line with its line feed, and drops what is undelivered of earlier
  // answers; an answer still under way is waited for first. Not 0: nothing was sent.
  virtual TKStatus send(std::string_view command) = 0;

  // Delivers at most `capacity` bytes of the answer, a long one cut at the ends of lines, and
  // stores their number, 0 on failure. Mode 1 waits until the answer is complete; mode 0 delivers
  // what is there, which may be nothing. A failed command is reported once.
  virtual TKStatus read(int mode, char* buffer, std::size_t capacity, std::size_t* length) = 0;

  // 0 as soon as `read` has something to deliver or report, kNoAnswerInTime when nothing came. An
  // unknown client is waited for `at_most`, and never ended. Of a known one an answer under way is
  // waited for to its end or its limit, and any other not at all.
  virtual TKStatus wait(std::chrono::milliseconds at_most) = 0;

  // Lets at most that time pass, and less as soon as no answer is under way.
  virtual void pump(std::chrono::milliseconds at_most) = 0;

  // An answer is under way.
  virtual bool busy() const = 0;

  // Whether it sends what stands for a local file, see LaunchRequest::lent.
  virtual bool sends_lent_files() const { return false; }

  // Whether it stands by to begin another session on its connection.
  virtual bool is_renewable() const { return false; }
  // Begins it, with nothing of the one before; false: the connection is gone.
  virtual bool renew(const std::vector<std::string>& /*expected*/) { return false; }

  // Whether it answers `stat` and `lstat`, see file_status.h.
  virtual bool knows_files() const { return false; }

  // Closes standard input: the client ends when it has done what it was told.
  void close_streams() { child_->close_input(); }

  long pid() const { return child_->pid(); }
  TKStatus kill();
  // Nothing while the client runs; 128 and the number when a signal ended it.
  std::optional<int> exit_status();

  // Why the last command, or the start, failed: what we know, and what the client itself said (at
  // most its last 4 KiB, word for word). Either may be empty.
  const std::string& explanation() const { return explanation_; }
  const std::string& words() const { return error_words_.empty() ? output_words_ : error_words_; }
  // Tells them to the request's `trouble`, unless both are empty; or a reason of the caller's.
  void tell_trouble() const;
  void tell_trouble(const std::string& reason) const;

 protected:
  using Milliseconds = std::chrono::milliseconds;

  // `words` is what runs as `child`.
  Client(LaunchRequest request, std::vector<std::string> words, std::unique_ptr<Child> child);

  // Runs the words for a request. Null, and why, when they cannot be run.
  static std::unique_ptr<Child> run(const LaunchRequest& request,
                                    const std::vector<std::string>& words, std::string* why);

  // Runs the same words anew, once the child has ended. False, and why, when that fails.
  bool restart(std::string* why);

  const LaunchRequest& launch_request() const { return request_; }
  const std::string& adapter() const { return request_.adapter; }
  const LaunchLimits& limits() const { return request_.limits; }
  const ProgressReport& progress() const { return request_.progress; }
  int retries() const { return request_.retries; }
  bool interrupted() const { return request_.interrupted && request_.interrupted(); }
  Child& child() { return *child_; }
  const Child& child() const { return *child_; }

  void note(std::string_view line) const;
  // Begins what `note_said` counts anew.
  void note_sent(std::string_view line);
  void note_said(std::string_view line);
  void leave_out(std::size_t bytes) { left_out_ += bytes; }
  static constexpr std::size_t kMostNoted = std::size_t{64} << 10;
  void remember_error(std::string_view line);
  void remember_output(std::string_view line);
  void forget_failure();
  void explain(const std::string& explanation) { explanation_ = request_.blot(explanation); }
  // Unless there is a better explanation already.
  void explain_ended();
  // Reaps the client, whose output has ended.
  std::string how_it_ended();
  std::string no_answer_within(Limit limit) const;
  std::string nothing_moved() const;
  // "60 s", "300 ms"
  static std::string in_seconds(Milliseconds time);

 private:
  static std::unique_ptr<Client> start(LaunchRequest request, std::string* why);
  void note_left_out();

  LaunchRequest request_;
  std::vector<std::string> words_;
  std::unique_ptr<Child> child_;
  std::string explanation_, error_words_, output_words_;
  std::size_t noted_ = 0, left_out_ = 0;  // bytes of what the client said since the last line sent
};

}  // namespace fileref::runtime
