// Whatever a client says, no answer may hold a byte that was said behind its end, no success may be
// made up, and nothing may crash or spin.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

#include "fuzz/dialogue.h"
#include "runtime/launch/dialogue/adapter.h"
#include "runtime/name_escape.h"

namespace {

using namespace fileref::runtime;

const std::string kNonce(32, 'e');
constexpr std::string_view kPrompt = "sftp> ";

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

struct Directory {
  Directory() {
    std::string name = "/dev/shm/fileref-fuzz-XXXXXX";
    path = mkdtemp(name.data());
  }
  ~Directory() { std::filesystem::remove_all(path); }
  std::string path;
};

class Dialogue {
 public:
  Dialogue(std::string_view bytes, const std::string& directory)
      : rest_(bytes),
        local_(directory + "/local"),
        adapter_(
            fuzz::dialect_of(bytes.front()),
            Session{[](const std::string& kept) { return kept; }, fuzz::verifies(bytes.front())}),
        verifies_(fuzz::verifies(bytes.front())) {
    rest_.remove_prefix(1);
  }

  void run() {
    perform(adapter_.start(), "");
    while (!rest_.empty()) {
      const std::size_t at = rest_.find(fuzz::kCommand);
      if (at == rest_.npos) return;
      rest_.remove_prefix(at + 1);
      const std::string command = fuzz::with_local(take_line(), local_);
      if (command.starts_with("put ")) std::ofstream(local_) << fuzz::kSent;
      came_back_ = false;
      std::string why;
      if (auto operation = adapter_.plan(command + "\n", &why)) {
        perform(std::move(operation), command);
      } else {
        check(!why.empty(), "a refused command has a reason");
      }
      for (const char* left : {".part", ".sent"}) {
        check(!std::filesystem::exists(local_ + left), "no half-done file is left");
      }
      std::filesystem::remove(local_);
    }
  }

 private:
  std::string take_line() {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    std::string line(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return line;
  }

  void perform(std::unique_ptr<Operation> operation, const std::string& command) {
    Step step = operation->begin();
    while (Request* request = std::get_if<Request>(&step)) {
      const std::optional<Reply> reply = exchange(*request);
      if (!reply) {
        judge(operation->lost({kEndOfOutput, {}, "the client ended"}, "words"), command);
        // A new session, for the next command.
        if (!command.empty() && !rest_.empty()) perform(adapter_.start(), "");
        return;
      }
      step = operation->take(*reply);
    }
    judge(std::get<Answer>(step), command);
  }

  // Feeds the client's words piece by piece. Nothing when they end before the answer does.
  std::optional<Reply> exchange(const Request& request) {
    const Sentinel sentinel = adapter_.dialect().sentinel(kNonce);
    Exchange exchange(request, sentinel);
    std::string whole, errors, piece;
    const auto feed = [&] {
      exchange.take_output(piece);
      whole += std::exchange(piece, {});
    };
    bool on_errors = false;
    while (!rest_.empty() && rest_.front() != fuzz::kCommand && !exchange.complete()) {
      const char byte = rest_.front();
      rest_.remove_prefix(1);
      if (byte == fuzz::kSentinel) {
        piece += sentinel.mark;
        feed();
        on_errors = false;
      } else if (byte == fuzz::kErrors || byte == fuzz::kOutput) {
        feed();
        on_errors = byte == fuzz::kErrors;
      } else if (byte == fuzz::kLocalFile) {
        make_local_file(request);
      } else if (on_errors) {
        errors += byte;
        exchange.take_errors({&byte, 1});
      } else {
        piece += byte;
      }
    }
    feed();
    const std::size_t end = end_of_answer(whole, sentinel);
    check(exchange.complete() == (end != whole.npos), "an answer ends at its sentinel");
    if (!exchange.complete()) return std::nullopt;
    check(exchange.reply().out == whole.substr(0, end), "an answer is what stands before it");
    check(exchange.reply().err == errors, "errors are kept");
    return exchange.reply();
  }

  static std::size_t end_of_answer(const std::string& whole, const Sentinel& sentinel) {
    for (std::size_t at = 0; (at = whole.find(sentinel.mark, at)) != whole.npos; ++at) {
      if (!sentinel.at_line_start || at == 0 || whole[at - 1] == '\n') return at;
    }
    return whole.npos;
  }

  void make_local_file(const Request& request) {
    const std::size_t size = rest_.empty() ? 0 : static_cast<unsigned char>(rest_.front());
    if (!rest_.empty()) rest_.remove_prefix(1);
    for (const char* part : {".part", ".sent"}) {
      for (const std::string& line : request.lines) {
        if (line.ends_with(' ' + openssh::quote(local_ + part))) {
          std::ofstream(local_ + part) << std::string(size, 'x');
          came_back_ = part == std::string_view(".sent") && size == fuzz::kSent.size();
        }
      }
    }
  }

  void judge(Answer answer, const std::string& command) {
    while (answer.more && answer.more(&answer.text)) {
    }
    if (answer.status != kSuccess) {
      check(answer.text.empty(), "a failure has no text");
      check(!answer.explanation.empty(), "a failure is explained");
      return;
    }
    if (answer.text == "host does not exist\n" && command.empty()) return;
    check(answer.text.ends_with(kPrompt), "an answer ends in the prompt");
    if (answer.refused) return;
    if (command.starts_with("get ")) {
      check(std::filesystem::exists(local_), "a download that succeeded left a file");
    }
    if (command.starts_with("put ") && verifies_) {
      check(came_back_, "an upload that was verified came back whole");
    }
    if (command.starts_with("ls ")) {
      judge_names(answer.text);
    } else {
      check(answer.text == kPrompt, "a success is the prompt and nothing else");
    }
  }

  static void judge_names(std::string_view text) {
    text.remove_suffix(kPrompt.size());
    for (int line = 0; !text.empty(); ++line) {
      const std::size_t end = text.find('\n');
      check(end != text.npos, "a name ends with its line");
      const std::string_view name = text.substr(0, end);
      text.remove_prefix(end + 1);
      if (line < 2) continue;
      check(!name.empty() && name.find(' ') == name.npos, "a name is one word");
      check(name.find("sftp>") == name.npos, "no name is a prompt");
      check(escape_name(unescape_name(name)) == name, "names are there and back");
    }
  }

  std::string_view rest_;
  const std::string local_;
  Adapter adapter_;
  const bool verifies_;
  bool came_back_ = false;  // the last upload
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Directory directory;
  if (size == 0) return 0;
  Dialogue({reinterpret_cast<const char*>(data), size}, directory.path).run();
  return 0;
}
