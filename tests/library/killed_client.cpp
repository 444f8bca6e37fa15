// Runs sftp, and kills it or its server at one line of its input: see strike.h.
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <string>

#include "tests/support/strike.h"

namespace {

void strike(pid_t client) {
  const bool server = support::strikes_server();
  const std::vector<pid_t> servers = support::descendants_of(client);
  if (!server) kill(client, SIGKILL);
  if (server && !servers.empty()) kill(servers.front(), SIGKILL);
  usleep(2000);  // until it is dead
}

void pass_on(const std::string& line, pid_t client, int to) {
  const std::string moment = support::moment_of_the_next();
  if (moment == "before") strike(client);
  if (write(to, line.data(), line.size()) < 0) return;
  if (moment == "answered") usleep(10'000);
  if (moment == "answered" || moment == "after") strike(client);
}

}  // namespace

int main(int, char** argv) {
  int input[2];
  if (pipe2(input, O_CLOEXEC) != 0) return 1;
  const pid_t client = fork();
  if (client == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input[0], STDIN_FILENO);
    argv[0] = const_cast<char*>("sftp");
    execvp("sftp", argv);
    _exit(127);
  }
  signal(SIGPIPE, SIG_IGN);
  close(input[0]);
  close(STDOUT_FILENO);
  close(STDERR_FILENO);
  pollfd events[] = {{STDIN_FILENO, POLLIN, 0},
                     {static_cast<int>(syscall(SYS_pidfd_open, client, 0)), POLLIN, 0}};
  std::string lines;
  while (poll(events, 2, -1) > 0 && events[1].revents == 0) {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) break;
    lines.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end; (end = lines.find('\n')) != lines.npos; lines.erase(0, end + 1)) {
      pass_on(lines.substr(0, end + 1), client, input[1]);
    }
  }
  close(input[1]);
  int status = 0;
  waitpid(client, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
