#include "runtime/launch/child/spawn.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace fileref::runtime {
namespace {

struct Pipe {
  Fd read, write;
};

bool open_pipe(Pipe* pipe) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  pipe->read.reset(ends[0]);
  pipe->write.reset(ends[1]);
  return true;
}

bool is_program(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

// The caller's environment with LC_ALL=C.UTF-8: the client's messages stay English, and the bytes
// of names stay text. Where it has no time zone it gets the system's by name: without one, the C
// library looks the zone up anew for every date in a listing.
std::vector<std::string> child_environment() {
  std::vector<std::string> environment;
  for (char** entry = environ; entry && *entry; ++entry) {
    if (!std::string_view(*entry).starts_with("LC_ALL=")) environment.emplace_back(*entry);
  }
  environment.emplace_back("LC_ALL=C.UTF-8");
  if (std::getenv("TZ") == nullptr) environment.emplace_back("TZ=:/etc/localtime");
  return environment;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// All that the new process needs, made before the fork: behind it only async-signal-safe calls
// are allowed.
struct Image {
  const char* path;
  char* const* arguments;
  char* const* environment;
  std::array<int, 3> streams;
  int failure;  // tells the parent the errno of a failed exec
  int gate;     // the exec waits for a byte from here, and is off when it ends
  Terminal terminal;
  bool ends_with_host;
};

// The system's own signal comes at the end of the thread that forked, so only the main thread's may
// be asked for.
bool host_ends_with_thread() {
  return ::gettid() == ::getpid();
}

// A client whose file grows too large for the limit on files gets an error that it can report,
// instead of a death of which it says nothing.
void default_signals(Terminal terminal) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
  if (terminal == Terminal::kSharedButNotInterrupted) sigaction(SIGINT, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool pass_gate(int gate) {
  char go = 0;
  ssize_t n;
  do {
    n = ::read(gate, &go, 1);
  } while (n < 0 && errno == EINTR);
  return n == 1;
}

// All but the standard streams and these two. Another thread's client would wait for ever for the
// end of a pipe that is held open here, and this one for that of one held open there.
void close_others(int one, int other) {
  unsigned from = 3;
  for (const int kept : {std::min(one, other), std::max(one, other)}) {
    if (const auto at = static_cast<unsigned>(kept); at > from) ::close_range(from, at - 1, 0);
    from = static_cast<unsigned>(kept) + 1;
  }
  ::close_range(from, ~0U, 0);
}

[[noreturn]] void become(const Image& image) {
  if (image.terminal == Terminal::kNone) ::setsid();
  // Should its guardian be killed as well. A host that has gone already opens no gate.
  if (image.ends_with_host) ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int failure = ::fcntl(image.failure, F_DUPFD_CLOEXEC, 3);
  const int gate = ::fcntl(image.gate, F_DUPFD_CLOEXEC, 3);
  if (failure >= 0 && gate >= 0 && put_on_standard_streams(image.streams)) {
    close_others(failure, gate);
    if (!pass_gate(gate)) ::_exit(127);
    default_signals(image.terminal);
    ::execve(image.path, image.arguments, image.environment);
  }
  const int error = errno;
  [[maybe_unused]] const ssize_t told = ::write(failure, &error, sizeof error);
  ::_exit(127);
}

// 0 when the exec succeeded, which closed the pipe.
int exec_error(int failure) {
  int error = 0;
  ssize_t n;
  do {
    n = ::read(failure, &error, sizeof error);
  } while (n < 0 && errno == EINTR);
  return n == sizeof error ? error : 0;
}

// Lets the new process go on. Returns the errno of its exec.
int open_gate(const Pipe& gate, Pipe* failure) {
  failure->write.reset();
  // It may have been killed meanwhile, but we hold the other end, too.
  [[maybe_unused]] const ssize_t told = ::write(gate.write.get(), "", 1);
  return exec_error(failure->read.get());
}

std::string system_failure(int error) {
  return std::string("the client could not be started: ") + std::strerror(error);
}

}  // namespace

pid_t fork_quietly() {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t pid = ::fork();
  if (pid == 0) return pid;
  const int error = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return pid;
}

bool put_on_standard_streams(const std::array<int, 3>& descriptors) {
  std::array<int, 3> moved;
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    moved[i] = ::fcntl(descriptors[i], F_DUPFD_CLOEXEC, 3);
    if (moved[i] < 0) return false;
  }
  for (int i = 0; i < 3; ++i) {
    if (::dup2(moved[static_cast<std::size_t>(i)], i) < 0) return false;
  }
  return true;
}

std::string find_program(const std::string& program) {
  if (program.find('/') != program.npos) return program;
  const char* path = std::getenv("PATH");
  std::string_view rest = path ? path : "/usr/local/bin:/usr/bin:/bin";
  for (;;) {
    const std::size_t colon = rest.find(':');
    const std::string_view directory = rest.substr(0, colon);
    std::string candidate = std::string(directory.empty() ? "." : directory) + '/' + program;
    if (is_program(candidate)) return candidate;
    if (colon == rest.npos) return {};
    rest.remove_prefix(colon + 1);
  }
}

std::optional<Spawned> spawn(const std::vector<std::string>& words, Terminal terminal,
                             std::string* why) {
  const std::string path = find_program(words.front());
  if (path.empty()) {
    *why = "the client program \"" + words.front() +
           "\" is not in PATH: install it, or give its full path with PATH='...'";
    return std::nullopt;
  }
  Pipe in, out, err, failure, gate;
  for (Pipe* pipe : {&in, &out, &err, &failure, &gate}) {
    if (open_pipe(pipe)) continue;
    *why = system_failure(errno);
    return std::nullopt;
  }
  std::vector<std::string> arguments = words;
  std::vector<std::string> environment = child_environment();
  const std::vector<char*> argv = pointers_to(arguments);
  const std::vector<char*> envp = pointers_to(environment);
  const bool ends_with_host = host_ends_with_thread();
  const pid_t pid = fork_quietly();
  if (pid == 0) {
    gate.write.reset();
    become({path.c_str(),
            argv.data(),
            envp.data(),
            {in.read.get(), out.write.get(), err.write.get()},
            failure.write.get(),
            gate.read.get(),
            terminal,
            ends_with_host});
  }
  if (pid < 0) {
    *why = system_failure(errno);
    return std::nullopt;
  }
  // It runs nothing before somebody watches over it.
  Guardian guardian(pid, terminal == Terminal::kNone);
  int error = errno;
  if (guardian) error = open_gate(gate, &failure);
  gate.write.reset();
  if (!guardian || error != 0) {
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    *why = guardian ? "the program \"" + path + "\" cannot be run: " + std::strerror(error) +
                          ": check PATH and OPTIONS, or install it"
                    : system_failure(error);
    return std::nullopt;
  }
  return Spawned{pid, std::move(guardian), std::move(in.write), std::move(out.read),
                 std::move(err.read)};
}

}  // namespace fileref::runtime
