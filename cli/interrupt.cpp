#include "cli/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <system_error>

namespace cli {
namespace {

volatile std::sig_atomic_t caught = 0;
std::optional<termios> terminal_at_first;

void note(int signal) {
  if (signal != SIGALRM && caught == 0) caught = signal;
  // A wait that was about to begin is broken off, too.
  constexpr itimerval kSoonAgain{{}, {0, 50'000}};
  setitimer(ITIMER_REAL, &kSoonAgain, nullptr);
}

// Without SA_RESTART: what waits is to notice.
void handle(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = note;
  sigaction(signal, &action, nullptr);
}

// Calls `use` with the terminal, if there is one and this process may speak there.
template <class Use>
void with_terminal(Use use) {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) return;
  if (tcgetpgrp(terminal) == getpgrp()) use(terminal);
  close(terminal);
}

}  // namespace

void catch_interrupts() {
  with_terminal([](int terminal) {
    termios settings{};
    if (tcgetattr(terminal, &settings) == 0) terminal_at_first = settings;
  });
  for (const int signal : {SIGALRM, SIGINT, SIGTERM, SIGHUP}) handle(signal);
}

bool interrupted() noexcept {
  return caught != 0;
}

void throw_if_interrupted() {
  if (interrupted()) throw Interrupted();
}

void wait_to_go_on(int descriptor, short events, const char* what) {
  const int error = errno;
  throw_if_interrupted();
  if (error == EINTR) return;
  if (error != EAGAIN) throw std::system_error(error, std::generic_category(), what);
  pollfd ready{descriptor, events, 0};
  poll(&ready, 1, -1);
}

void end_if_interrupted() {
  if (!interrupted()) return;
  with_terminal([](int terminal) {
    if (terminal_at_first) tcsetattr(terminal, TCSANOW, &*terminal_at_first);
  });
  std::signal(caught, SIG_DFL);
  std::raise(caught);
}

}  // namespace cli
