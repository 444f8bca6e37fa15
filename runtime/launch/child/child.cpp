#include "runtime/launch/child/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <thread>
#include <utility>

namespace fileref::runtime {
namespace {

using std::chrono::milliseconds;

// How often the end of the process is looked for where the kernel has no pidfd.
constexpr milliseconds kReapInterval{10};

// How often a host is asked that may interrupt a wait.
constexpr milliseconds kAskInterval{100};

// A wide pipe that was full is given this time. There is room as soon as a page of it is free, and
// to fill it up page by page would wake both sides for each.
constexpr milliseconds kDrain{1};

// Reads that empty the largest pipe.
constexpr int kFullPipe = 16;

// As long as poll(2) can wait, or for ever.
constexpr milliseconds kForever{std::numeric_limits<int>::max()};

milliseconds until(Clock::time_point deadline) {
  if (deadline == Clock::time_point::max()) return kForever;
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  return std::clamp(left, milliseconds{0}, kForever - milliseconds{1});
}

constexpr std::size_t kPiece = 65536;

ssize_t append_from(int stream, std::string* text) {
  std::array<char, kPiece> chunk;
  const ssize_t count = ::read(stream, chunk.data(), chunk.size());
  if (count > 0) text->append(chunk.data(), static_cast<std::size_t>(count));
  return count;
}

ssize_t append_from(int stream, ByteBuffer* bytes) {
  const std::span<char> room = bytes->room(kPiece);
  const ssize_t count = ::read(stream, room.data(), room.size());
  if (count > 0) bytes->add(static_cast<std::size_t>(count));
  return count;
}

// Keeps a write to a broken pipe from raising SIGPIPE, in this thread only.
class PipeSignalBlock {
 public:
  PipeSignalBlock() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~PipeSignalBlock() {
    const timespec no_wait{};
    if (!was_pending_) {
      while (sigtimedwait(&pipe_, nullptr, &no_wait) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalBlock(const PipeSignalBlock&) = delete;
  PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

 private:
  sigset_t pipe_, before_;
  bool was_pending_;
};

}  // namespace

Clock::time_point deadline_after(milliseconds limit) {
  return limit.count() == 0 ? Clock::time_point::max() : Clock::now() + limit;
}

std::string describe(const Ending& ending) {
  if (!ending.by_signal) return "exit status " + std::to_string(ending.value);
  const char* name = sigdescr_np(ending.value);
  return "signal " + std::to_string(ending.value) + (name ? std::string(": ") + name : "");
}

std::unique_ptr<Child> Child::start(const std::vector<std::string>& words, Terminal terminal,
                                    std::string* why, std::function<bool()> interrupted) {
  std::optional<Spawned> spawned = spawn(words, terminal, why);
  if (!spawned) return nullptr;
  return std::unique_ptr<Child>(
      new Child(*std::move(spawned), terminal == Terminal::kNone, std::move(interrupted)));
}

Child::Child(Spawned spawned, bool own_group, std::function<bool()> interrupted)
    : owner_(::getpid()),
      pid_(spawned.pid),
      guardian_(std::move(spawned.guardian)),
      own_group_(own_group),
      in_(std::move(spawned.in)),
      out_(std::move(spawned.out)),
      err_(std::move(spawned.err)),
      alive_(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0))),
      interrupted_(std::move(interrupted)) {
  for (const Fd* stream : {&in_, &out_, &err_}) ::fcntl(stream->get(), F_SETFL, O_NONBLOCK);
}

void Child::widen_pipes() {
  constexpr int kWide = 1 << 20;
  for (const Fd* stream : {&in_, &out_}) ::fcntl(stream->get(), F_SETPIPE_SZ, kWide);
  if (::fcntl(in_.get(), F_GETPIPE_SZ) >= kWide) drain_ = kDrain;
  most_reads_ = kFullPipe;
}

Child::~Child() {
  if (forgotten() || ending_) return;
  signal(SIGKILL);
  reap(0);
}

bool Child::is_ours() const {
  return ::getpid() == owner_;
}

// In a process that was forked from ours nothing may be done to the child or its pipes.
bool Child::forgotten() {
  if (is_ours()) return false;
  guardian_.forget();
  for (Fd* descriptor : {&in_, &out_, &err_, &alive_}) descriptor->reset();
  ending_ = Ending{};
  return true;
}

void Child::queue(std::string_view bytes) {
  if (in_) queued_ += bytes;
}

bool Child::pump(Clock::time_point deadline, std::string* out, std::string* err, bool wants_room) {
  return pump_into(deadline, out, err, wants_room);
}

bool Child::pump(Clock::time_point deadline, ByteBuffer* out, std::string* err, bool wants_room) {
  return pump_into(deadline, out, err, wants_room);
}

template <class Bytes>
bool Child::pump_into(Clock::time_point deadline, Bytes* out, std::string* err, bool wants_room) {
  if (forgotten() || (!out_ && !err_)) return false;
  if (std::exchange(is_full_, false)) std::this_thread::sleep_for(drain_);
  const short writable = queued_.empty() && !wants_room ? 0 : POLLOUT;
  Streams streams{{{in_.get(), writable, 0},
                   {out_.get(), POLLIN, 0},
                   {err_.get(), POLLIN, 0},
                   {alive_.get(), POLLIN, 0}}};
  if (!wait_for(&streams, deadline)) return false;
  if (streams[0].revents & POLLERR) {
    stop_writing();
  } else if (streams[0].revents && !queued_.empty()) {
    queued_.erase(0, write(queued_));
  }
  if (streams[1].revents) read_up_to(most_reads_, &out_, out);
  if (streams[2].revents) read_up_to(1, &err_, err);
  if (streams[3].revents || ending_) read_the_rest(out, err);
  return true;
}

// Waits for one of the descriptors, for the deadline, or as long as nobody needs to be asked
// anything. Returns the number of descriptors that are ready.
template <std::size_t N>
int Child::poll_until(std::array<pollfd, N>* fds, Clock::time_point deadline) const {
  const milliseconds longest = !alive_ ? kReapInterval : interrupted_ ? kAskInterval : kForever;
  const milliseconds left = std::min(until(deadline), longest);
  const int timeout = left == kForever ? -1 : static_cast<int>(left.count());
  return std::max(::poll(fds->data(), N, timeout), 0);
}

bool Child::wait_for(Streams* streams, Clock::time_point deadline) {
  while (!interrupted()) {
    if (poll_until(streams, deadline) > 0) return true;
    if (!alive_ && reap(WNOHANG)) return true;
    if (Clock::now() >= deadline) return false;
  }
  return false;
}

void Child::stop_writing() {
  in_.reset();
  queued_.clear();
}

std::size_t Child::write(std::string_view bytes) {
  const PipeSignalBlock no_signal;
  const ssize_t written = in_ ? ::write(in_.get(), bytes.data(), bytes.size()) : 0;
  if (written < 0 && errno != EAGAIN && errno != EINTR) stop_writing();
  if (!in_) return bytes.size();
  const auto taken = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
  is_full_ = taken < bytes.size();
  return taken;
}

// False when nothing more is there now; at its end the stream is closed.
template <class Bytes>
bool Child::read_from(Fd* stream, Bytes* bytes) {
  const ssize_t n = append_from(stream->get(), bytes);
  if (n > 0 || (n < 0 && errno == EINTR)) return true;
  if (n == 0 || errno != EAGAIN) stream->reset();
  return false;
}

template <class Bytes>
void Child::read_up_to(int reads, Fd* stream, Bytes* bytes) {
  for (; *stream && reads > 0 && read_from(stream, bytes); --reads) {
  }
}

// The process is gone, and what it wrote is in the pipes: others may go on writing to them.
template <class Bytes>
void Child::read_the_rest(Bytes* out, std::string* err) {
  read_up_to(kFullPipe, &out_, out);
  read_up_to(kFullPipe, &err_, err);
  out_.reset();
  err_.reset();
}

void Child::end(milliseconds patience, milliseconds grace) {
  if (forgotten() || ending_) return;
  stop_writing();
  if (ends_by(Clock::now() + patience)) return;
  signal(SIGTERM);
  end_within(grace);
}

void Child::dismiss(milliseconds grace) {
  if (forgotten() || ending_) return;
  stop_writing();
  ::kill(pid_, SIGTERM);
  end_within(grace);
}

void Child::end_within(milliseconds grace) {
  ignore_interruption();
  if (ends_by(Clock::now() + grace)) return;
  signal(SIGKILL);
  reap(0);
}

bool Child::ends_by(Clock::time_point deadline) {
  std::string discarded;
  while (pump(deadline, &discarded, &discarded)) discarded.clear();
  std::array<pollfd, 1> alive{{{alive_.get(), POLLIN, 0}}};
  do {
    if (reap(WNOHANG)) return true;
    poll_until(&alive, deadline);
  } while (Clock::now() < deadline && !interrupted());
  return reap(WNOHANG);
}

bool Child::signal(int number) {
  return !forgotten() && !ending_ && ::kill(own_group_ ? -pid_ : pid_, number) == 0;
}

const std::optional<Ending>& Child::ending() {
  reap(WNOHANG);
  return ending_;
}

bool Child::reap(int wait_flags) {
  if (forgotten() || ending_) return true;
  siginfo_t info{};
  int failed;
  do {
    failed = ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT | wait_flags);
  } while (failed != 0 && errno == EINTR);
  if (failed == 0 && info.si_pid != pid_) return false;
  guardian_.dismiss();
  // Not reaped, the child still keeps the number of its group from being another's.
  if (failed == 0 && own_group_) ::kill(-pid_, SIGKILL);
  int status = 0;
  // Where the host ignores SIGCHLD nothing is left to reap, and the status is not known.
  if (::waitpid(pid_, &status, 0) < 0) status = 0;
  ending_ =
      WIFSIGNALED(status) ? Ending{true, WTERMSIG(status)} : Ending{false, WEXITSTATUS(status)};
  return true;
}

}  // namespace fileref::runtime
