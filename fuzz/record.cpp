// Holds real dialogues with a client and writes each to a file, for the fuzzer to start from.
//   record DIRECTORY CLIENT-NUMBER WORDS...   (WORDS start the client, FILES is the remote
//   directory)
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "fuzz/dialogue.h"
#include "runtime/launch/child/child.h"
#include "runtime/launch/dialogue/adapter.h"

namespace {

using namespace fileref::runtime;
namespace fs = std::filesystem;

class Recorder {
 public:
  Recorder(char client, const std::vector<std::string>& words, std::string local)
      : local_(std::move(local)),
        transcript_(1, client),
        adapter_(fuzz::dialect_of(client),
                 Session{[](const std::string& kept) { return kept; }, fuzz::verifies(client)}) {
    std::string why;
    child_ = Child::start(words, Terminal::kNone, &why);
    if (!child_) throw std::runtime_error(why);
    perform(adapter_.start());
  }

  void send(const std::string& command) {
    std::string why;
    transcript_ += fuzz::kCommand + command + "\n";
    auto operation = adapter_.plan(fuzz::with_local(command, local_) + "\n", &why);
    if (operation) perform(std::move(operation));
  }

  const std::string& transcript() const { return transcript_; }

 private:
  void perform(std::unique_ptr<Operation> operation) {
    Step step = operation->begin();
    while (Request* request = std::get_if<Request>(&step)) {
      Exchange exchange(*request, adapter_.dialect().sentinel(make_nonce()));
      child_->queue(exchange.input());
      while (!exchange.complete()) {
        std::string out, err;
        if (!child_->pump(deadline_after(std::chrono::seconds(20)), &out, &err)) {
          throw std::runtime_error("the client gives no answer");
        }
        exchange.take_output(out);
        exchange.take_errors(err);
      }
      transcript_ += exchange.reply().out + fuzz::kErrors + exchange.reply().err + fuzz::kOutput;
      for (const char* part : {".part", ".sent"}) {
        if (!fs::exists(local_ + part)) continue;
        transcript_ += {fuzz::kLocalFile, static_cast<char>(fs::file_size(local_ + part))};
      }
      transcript_ += fuzz::kSentinel;
      step = operation->take(exchange.reply());
    }
  }

  std::string local_;
  std::string transcript_;
  Adapter adapter_;
  std::unique_ptr<Child> child_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const std::string local = (fs::temp_directory_path() / "fileref-record").string();
  const std::string remote = std::getenv("FILES") ? std::getenv("FILES") : ".";
  const std::vector<std::vector<std::string>> dialogues = {
      {"cd \"FILES\"", "ls ", "get \"a\" \"LOCAL\"", "get \"b c\" \"LOCAL\""},
      {"cd \"FILES\"", "ls -a ", "ls *.csv", "ls nothing*", "get \"missing\" \"LOCAL\""},
      {"cd \"FILES/none\"", "mkdir \"FILES/new\"", "mkdir \"FILES/new\"", "cd \"FILES/new\"",
       "cd .."},
      {"cd \"FILES\"", "cd \"sub\"", "cd ..", "cd \"a\"", "get \"sub\" \"LOCAL\""},
      {"cd \"FILES\"", "put \"LOCAL\" \"sent\"", "put \"LOCAL\" \"none/sent\"",
       "put \"LOCAL\" \"sub\""},
      {"ls FILES/hostile", "ls FILES/hostile/*", "get \"FILES/hostile/-x\" \"LOCAL\""},
      {"ls FILES/linefeed", "ls FILES/empty", "ls FILES/a", "ls FILES/none"}};
  for (std::size_t i = 0; i < dialogues.size(); ++i) {
    Recorder recorder(argv[2][0], {argv + 3, argv + argc}, local);
    for (std::string command : dialogues[i]) {
      for (std::size_t at; (at = command.find("FILES")) != command.npos;) {
        command.replace(at, 5, remote);
      }
      if (command.starts_with("put ")) std::ofstream(local) << fuzz::kSent;
      recorder.send(command);
    }
    std::ofstream(std::string(argv[1]) + "/" + argv[2] + "-" + std::to_string(i))
        << recorder.transcript();
    fs::remove(local);
  }
}
