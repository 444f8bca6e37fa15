// A client inside the test: it says what a script tells it to, and remembers what it was sent.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>

#include "host/codes.h"
#include "host/toolkit.h"
#include "runtime/fault_point.h"
#include "tests/support/process.h"

namespace fileref {

// What one read of the client's output delivers.
struct Chunk {
  Chunk(const char* said) : text(said) {}
  Chunk(std::string said) : text(std::move(said)) {}
  Chunk(rctype failure, const char* said = "") : text(said), rc(failure) {}

  std::string text;
  rctype rc = kSuccess;
};

// What the client says to one command, or at its start.
struct Answer {
  Answer(Chunk whole) : chunks{std::move(whole)} {}
  Answer(const char* whole) : chunks{whole} {}
  Answer(std::initializer_list<Chunk> pieces) : chunks(pieces) {}

  std::deque<Chunk> chunks;
};

// An answer to what cannot even be sent or started.
inline const Answer kRefused{};

class ScriptedClient {
 public:
  // `faults` may fail what the module asks of a process.
  explicit ScriptedClient(runtime::FaultPoint& faults) : faults_(faults) {}

  // Answers to the next commands; a start counts as one. Past the end every command succeeds, but
  // for the `get` of a file that is not there.
  std::deque<Answer> script;
  // The remote files by the names that commands give them: a `get` copies one, a `put` makes one,
  // an `ls` lists them all.
  std::map<std::string, std::string> files;
  std::string prompt = "sftp> ";
  int started = 0;
  int alive = 0;

  // Command lines and commands since the last call, one a line, the local file as TEMP. From the
  // second client on they begin with "2> " and so on.
  std::string dialogue() { return std::exchange(dialogue_, {}); }

  TKStatus launch(const std::string& command_line, LSProcessp* process) {
    Answer answer = next_answer(prompt);
    if (answer.chunks.empty()) return kProcessFailed;
    auto* made = new Process(*this, ++started);
    ++alive;
    made->pending = std::move(answer.chunks);
    note(made->number, command_line);
    *process = made;
    return kSuccess;
  }

 private:
  struct Process : LSProcess_S {
    Process(ScriptedClient& owner, int nth) : LSProcess_S{}, client(owner), number(nth) {
      generic = {nullptr, "scripted client", &destroy};
      sendinput = &send;
      getoutput = &read;
      outputwait = &wait;
      closestdio = &close;
    }

    static Process& of(LSProcess_S* process) { return *static_cast<Process*>(process); }
    static TKStatus destroy(TKGeneric* object) {
      auto* process = static_cast<Process*>(reinterpret_cast<LSProcess_S*>(object));
      EXPECT_TRUE(process->closed) << "a client was destroyed with its streams open";
      --process->client.alive;
      delete process;
      return kSuccess;
    }
    static TKStatus close(LSProcess_S* process) {
      of(process).closed = true;
      return kSuccess;
    }
    static TKStatus send(LSProcess_S* process, const char* text, TKMemSize length, TKJnlh) {
      return of(process).client.take_command(of(process), {text, length});
    }
    static TKStatus wait(LSProcess_S* process, long /*milliseconds*/, TKJnlh) {
      std::deque<Chunk>& pending = of(process).pending;
      if (of(process).client.faults_.hit()) return kProcessFailed;
      if (!pending.empty() && pending.front().rc != kNoAnswerInTime) return kSuccess;
      if (!pending.empty()) pending.pop_front();
      return kNoAnswerInTime;
    }
    static TKStatus read(LSProcess_S* process, int /*mode*/, char* buffer, TKMemSize capacity,
                         TKMemSize* length, TKJnlh) {
      std::deque<Chunk>& pending = of(process).pending;
      if (of(process).client.faults_.hit()) return kProcessFailed;
      if (pending.empty()) {
        ADD_FAILURE() << "the module reads on behind the end of the answer";
        return kEndOfOutput;
      }
      Chunk& chunk = pending.front();
      *length = chunk.text.copy(buffer, capacity);
      chunk.text.erase(0, *length);
      const rctype rc = chunk.rc;
      if (chunk.text.empty()) pending.pop_front();
      return rc;
    }

    ScriptedClient& client;
    int number;
    bool closed = false;
    std::deque<Chunk> pending;
  };

  Answer next_answer(const std::string& otherwise) {
    if (script.empty()) return Chunk(otherwise);
    Answer answer = std::move(script.front());
    script.pop_front();
    return answer;
  }

  void note(int number, const std::string& what) {
    if (number > 1) dialogue_ += std::to_string(number) + "> ";
    dialogue_ += what + "\n";
  }

  // The text between the nth pair of quotes.
  static std::string quoted(const std::string& command, int nth) {
    std::size_t from = 0;
    for (int i = 1; i < 2 * nth; ++i) from = command.find('"', from) + 1;
    return command.substr(from, command.find('"', from) - from);
  }

  // What an obliging client says.
  std::string own_answer(const std::string& command, const std::string& remote) const {
    std::string said;
    if (command.starts_with("get ") && files.count(remote) == 0) {
      said = "unable to open: no such file or directory\n";
    }
    if (command.starts_with("ls ")) {
      for (const auto& [name, text] : files) said += name + "\n";
    }
    return said + prompt;
  }

  TKStatus take_command(Process& process, std::string command) {
    EXPECT_FALSE(process.closed) << "a command for a client that was closed: " << command;
    if (faults_.hit()) return kProcessFailed;
    EXPECT_TRUE(command.ends_with('\n')) << command;
    command.pop_back();
    const bool get = command.starts_with("get ");
    const bool put = command.starts_with("put ");
    const std::string remote = get || put ? quoted(command, get ? 1 : 2) : "";
    const std::string local = get || put ? quoted(command, get ? 2 : 1) : "";
    if (get || put) command.replace(command.find(local), local.size(), "TEMP");
    Answer answer = next_answer(own_answer(command, remote));
    if (answer.chunks.empty()) return kProcessFailed;
    note(process.number, command);
    if (get && files.count(remote) != 0) support::write_file(local, files[remote]);
    if (put) files[remote] = support::read_file(local);
    process.pending = std::move(answer.chunks);
    return kSuccess;
  }

  runtime::FaultPoint& faults_;
  std::string dialogue_;
};

}  // namespace fileref
