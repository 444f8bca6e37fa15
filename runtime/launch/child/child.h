// A child process with its three standard streams on pipes.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/byte_buffer.h"
#include "runtime/fd.h"
#include "runtime/launch/child/spawn.h"

namespace fileref::runtime {

using Clock = std::chrono::steady_clock;

// The moment `limit` from now; 0 stands for no limit.
Clock::time_point deadline_after(std::chrono::milliseconds limit);

// How a process ended: by exit(code), or by a signal.
struct Ending {
  bool by_signal = false;
  int value = 0;
};

// "exit status 255", "signal 9: Killed".
std::string describe(const Ending& ending);

// No shell, no signal handler and no thread is involved, and the caller never sees SIGPIPE. The
// child starts with default signal dispositions, an empty signal mask, LC_ALL=C.UTF-8 and no
// descriptors but its three streams. It does not outlive the process that started it, and what is
// left of its own process group does not outlive the child.
// A process that was forked from that one has nothing to do with the child: there it has ended.
class Child {
 public:
  // Runs `words`; the first names the program, looked up in PATH when it holds no "/". Returns null
  // and says why when the program cannot be run. While `interrupted` holds nothing is waited for
  // but the end after TERM; it is asked at least every 100 ms of a wait, and behind each signal.
  static std::unique_ptr<Child> start(const std::vector<std::string>& words, Terminal terminal,
                                      std::string* why, std::function<bool()> interrupted = {});

  // Kills and reaps what still runs.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Queues bytes for the child's standard input; `pump` writes them. They are dropped when the
  // child no longer reads.
  void queue(std::string_view bytes);
  // All of them were written, or dropped.
  bool has_written() const { return queued_.empty(); }
  // Writes what the child takes of some bytes at once, and returns how many that were: all when it
  // no longer reads. Nothing may be queued.
  std::size_t write(std::string_view bytes);

  // Waits until bytes moved on a stream or a stream ended, at most until `deadline`, and appends
  // what the child wrote. With `wants_room` it also ends the wait when the child takes bytes. False
  // when nothing happened, or nothing can any more.
  bool pump(Clock::time_point deadline, std::string* out, std::string* err,
            bool wants_room = false);
  bool pump(Clock::time_point deadline, ByteBuffer* out, std::string* err, bool wants_room = false);

  // For a child that moves much data: it and this process need to take turns less often.
  void widen_pipes();

  // Standard output has not ended. It also ends when the process is gone, whoever else may hold
  // the pipe.
  bool talking() const { return static_cast<bool>(out_); }

  void close_input() { in_.reset(); }

  // Closes standard input and waits `patience` for the child to end by itself, discarding what it
  // still writes, or until an interruption; then TERM and the same wait for `grace`; then KILL.
  // Reaped when this returns.
  void end(std::chrono::milliseconds patience, std::chrono::milliseconds grace);
  // The same for a program that ends in good order at TERM, together with what it started, and has
  // nothing to do any more: that is what it gets at once, and KILL after `grace`.
  void dismiss(std::chrono::milliseconds grace);

  // From now on it is waited for as if nothing interrupted.
  void ignore_interruption() { interrupted_ = {}; }

  // This is the process that started it.
  bool is_ours() const;

  // Sends a signal to the child; with a session of its own, to its whole process group.
  bool signal(int number);

  pid_t pid() const { return pid_; }
  // Set once the child was reaped.
  const std::optional<Ending>& ending();

 private:
  Child(Spawned spawned, bool own_group, std::function<bool()> interrupted);

  using Streams = std::array<pollfd, 4>;

  bool interrupted() const { return interrupted_ && interrupted_(); }
  template <std::size_t N>
  int poll_until(std::array<pollfd, N>* fds, Clock::time_point deadline) const;
  bool wait_for(Streams* streams, Clock::time_point deadline);
  void stop_writing();
  template <class Bytes>
  bool pump_into(Clock::time_point deadline, Bytes* out, std::string* err, bool wants_room);
  template <class Bytes>
  bool read_from(Fd* stream, Bytes* bytes);
  template <class Bytes>
  void read_up_to(int reads, Fd* stream, Bytes* bytes);
  template <class Bytes>
  void read_the_rest(Bytes* out, std::string* err);
  bool ends_by(Clock::time_point deadline);
  void end_within(std::chrono::milliseconds grace);
  bool reap(int wait_flags);
  bool forgotten();

  pid_t owner_;  // the process that started it
  pid_t pid_;
  Guardian guardian_;
  bool own_group_;
  Fd in_, out_, err_;
  Fd alive_;  // pidfd: readable once the process has ended
  std::string queued_;
  int most_reads_ = 1;  // of a stream, each time that it has something
  std::chrono::milliseconds drain_{0};
  bool is_full_ = false;  // the pipe that is written to, when it was last
  std::function<bool()> interrupted_;
  std::optional<Ending> ending_;
};

}  // namespace fileref::runtime
