// One command and its answer: through the launch layer, and with the bare client on two pipes.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "bench/settings.h"
#include "host/codes.h"
#include "runtime/launch/client.h"

namespace {

using fileref::runtime::Client;
using fileref::runtime::LaunchRequest;

constexpr const char* kServer = "/usr/lib/openssh/sftp-server";

void BareExchange(benchmark::State& state) {
  int to[2];
  int from[2];
  if (pipe(to) != 0 || pipe(from) != 0) return state.SkipWithError("no pipes");
  const pid_t client = fork();
  if (client == 0) {
    dup2(to[0], STDIN_FILENO);
    dup2(from[1], STDOUT_FILENO);
    for (int i = 3; i < 64; ++i) close(i);
    execlp("sftp", "sftp", "-q", "-D", kServer, nullptr);
    _exit(127);
  }
  close(to[0]);
  close(from[1]);
  constexpr std::string_view kCommand = "cd \"/tmp\"\n#0123456789abcdef\n";
  constexpr std::string_view kEnd = "sftp> #0123456789abcdef\n";
  std::string answer;
  char buffer[4096];
  for (auto _ : state) {
    if (write(to[1], kCommand.data(), kCommand.size()) < 0) state.SkipWithError("no write");
    answer.clear();
    while (!answer.ends_with(kEnd)) {
      const ssize_t count = read(from[0], buffer, sizeof buffer);
      if (count <= 0) return state.SkipWithError("the client ended");
      answer.append(buffer, static_cast<std::size_t>(count));
    }
  }
  close(to[1]);
  close(from[0]);
  waitpid(client, nullptr, 0);
}
BENCHMARK(BareExchange)->UseRealTime()->Apply(bench::ratio_settings);

void Exchange(benchmark::State& state) {
  LaunchRequest request;
  request.command_line = "sftp -D " + std::string(kServer) + " ";
  std::string why;
  const auto client = Client::launch(std::move(request), &why);
  if (!client) return state.SkipWithError(why.c_str());
  char buffer[4096];
  std::size_t length = 0;
  if (client->read(1, buffer, sizeof buffer, &length) != kSuccess) {
    return state.SkipWithError("no session");
  }
  for (auto _ : state) {
    if (client->send("cd \"/tmp\"\n") != kSuccess ||
        client->read(1, buffer, sizeof buffer, &length) != kSuccess) {
      return state.SkipWithError("no answer");
    }
  }
}
BENCHMARK(Exchange)->UseRealTime()->Apply(bench::ratio_settings);

}  // namespace
