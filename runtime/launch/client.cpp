#include "runtime/launch/client.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "runtime/launch/command_line.h"
#include "runtime/launch/dialogue/framed_client.h"
#include "runtime/launch/direct/direct_client.h"
#include "runtime/launch/openssh/openssh.h"
#include "runtime/launch/plain/plain_client.h"
#include "runtime/launch/psftp/psftp.h"

namespace fileref::runtime {
namespace {

constexpr std::size_t kMostWords = 4096;

std::string adapter_for(const std::string& program) {
  std::string name = program.substr(program.rfind('/') + 1);
  if (name == "psftp") return name;
  return name == "sftp" ? "openssh" : "plain";
}

// Null for a client that no dialogue can be held with.
std::unique_ptr<Dialect> dialect_for(const std::string& adapter) {
  if (adapter == "openssh") return std::make_unique<openssh::OpensshDialect>();
  if (adapter == "psftp") return std::make_unique<psftp::PsftpDialect>();
  return nullptr;
}

bool names_direct_server(const std::vector<std::string>& words) {
  return std::any_of(words.begin() + 1, words.end(),
                     [](const std::string& word) { return word.starts_with("-D"); });
}

bool has_word(const std::vector<std::string>& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool check_questions(const std::string& adapter, const std::vector<std::string>& words,
                     std::string* why) {
  if (adapter != "psftp" || has_word(words, "-batch")) return true;
  *why =
      "without -batch psftp takes commands for the answers to its questions, and so may accept an "
      "unknown host key: give OPTIONS='-batch ...'";
  return false;
}

// Where nobody can be asked, OpenSSH is to give up at the first question: else it tries empty
// passwords, which a server may count against the user.
bool gives_up_at_questions(const LaunchRequest& request, const std::string& program) {
  return adapter_for(program) == "openssh" && !request.may_ask &&
         std::getenv("SSH_ASKPASS") == nullptr;
}

// What `sftp` has, and psftp takes for something else or not at all.
bool check_flags(const LaunchRequest& request, std::string* why) {
  if (request.adapter != "psftp") return true;
  for (const char* flag : {"-J", "-F"}) {
    if (!has_word(request.extra_arguments, flag)) continue;
    *why = std::string("psftp has no ") + flag + ": leave it out, or use another client";
    return false;
  }
  return true;
}

bool check_host(bool has_host, const std::vector<std::string>& words, std::string* why) {
  if (!has_host) {
    if (names_direct_server(words)) return true;
    *why = "no host: give HOST='...', or a target with one";
    return false;
  }
  *why = why_unfit_login(words.back());
  if (why->empty()) return true;
  *why = "\"" + words.back() + "\" is no host: " + *why;
  return false;
}

// The client would run no command of a file that is not there, or wait for them on our pipe.
bool check_batch(const std::vector<std::string>& words, std::string* why) {
  const auto flag = std::find(words.begin(), words.end(), "-b");
  if (flag == words.end() || flag + 1 == words.end()) return true;
  const std::string& file = *(flag + 1);
  *why = why_unfit("BATCHFILE", file);
  if (why->empty() && ::access(file.c_str(), R_OK) != 0) {
    *why = "the batch file \"" + file + "\" cannot be read: " + std::strerror(errno);
  }
  return why->empty();
}

void append_bounded(std::string* words, std::string_view line) {
  *words += line;
  *words += '\n';
  if (words->size() > kMostWords) words->erase(0, words->size() - kMostWords);
}

// The words to run, or nothing and why.
std::optional<std::vector<std::string>> words_to_run(const LaunchRequest& request,
                                                     std::string* why) {
  std::optional<std::vector<std::string>> words = split_words(request.command_line, why);
  if (!words) return std::nullopt;
  if (words->empty() || words->front().empty()) {
    *why = "no client program: give PATH='...'";
    return std::nullopt;
  }
  const bool has_host = words->size() > 1 && !request.command_line.ends_with(' ');
  words->insert(words->begin() + 1, request.extra_arguments.begin(), request.extra_arguments.end());
  if (!check_host(has_host, *words, why) || !check_batch(*words, why)) return std::nullopt;
  return words;
}

}  // namespace

std::unique_ptr<Client> Client::launch(LaunchRequest request, std::string* why) {
  for (const std::string& secret : request.secrets) request.blot.add(secret);
  const Blot blot = request.blot;
  std::unique_ptr<Client> client = start(std::move(request), why);
  *why = blot(*why);
  return client;
}

std::unique_ptr<Client> Client::start(LaunchRequest request, std::string* why) {
  std::optional<std::vector<std::string>> words = words_to_run(request, why);
  if (!words) return nullptr;
  if (request.adapter.empty()) {
    request.adapter = direct::stands_in_for(*words) ? "direct" : adapter_for(words->front());
  }
  std::unique_ptr<Dialect> dialect = dialect_for(request.adapter);
  if (!dialect && request.adapter != "plain" && request.adapter != "direct") {
    *why = "unknown client adapter \"" + request.adapter +
           "\": use \"direct\", \"openssh\", \"psftp\" or \"plain\"";
    return nullptr;
  }
  if (!check_flags(request, why)) return nullptr;
  if (!check_questions(request.adapter, *words, why)) return nullptr;
  if (gives_up_at_questions(request, words->front())) {
    words->insert(words->begin() + 1, "-oBatchMode=yes");
  }
  if (request.atomic_uploads && request.adapter != "direct") {
    *why = "only the client \"direct\" can replace a file as a whole (--atomic)";
    return nullptr;
  }
  if (request.adapter == "direct")
    return direct::DirectClient::launch(std::move(request), *words, why);
  std::unique_ptr<Child> child = run(request, *words, why);
  if (!child) return nullptr;
  const bool batch = dialect && has_word(*words, "-b");
  if (!dialect || batch) {
    return std::make_unique<PlainClient>(std::move(request), *words, std::move(child), batch);
  }
  Adapter adapter(std::move(dialect), Session{request.keep_unsent, request.verify_uploads});
  return std::make_unique<FramedClient>(std::move(request), *words, std::move(child),
                                        std::move(adapter));
}

std::unique_ptr<Child> Client::run(const LaunchRequest& request,
                                   const std::vector<std::string>& words, std::string* why) {
  const Terminal shared =
      request.atomic_uploads ? Terminal::kSharedButNotInterrupted : Terminal::kShared;
  if (request.journal) request.journal(request.blot("[runs " + joined_words(words) + "]"));
  return Child::start(words, request.may_ask ? shared : Terminal::kNone, why, request.interrupted);
}

Client::Client(LaunchRequest request, std::vector<std::string> words, std::unique_ptr<Child> child)
    : request_(std::move(request)), words_(std::move(words)), child_(std::move(child)) {}

Client::~Client() {
  note_left_out();
  child_->end(limits().close_grace, limits().close_grace);
}

void Client::tell_trouble() const {
  const bool is_known = !explanation_.empty() || !words().empty();
  if (is_known && request_.trouble) request_.trouble(explanation_, words());
}

void Client::tell_trouble(const std::string& reason) const {
  if (request_.trouble) request_.trouble(request_.blot(reason), {});
}

bool Client::restart(std::string* why) {
  std::unique_ptr<Child> child = run(request_, words_, why);
  if (!child) return false;
  child_ = std::move(child);
  return true;
}

TKStatus Client::kill() {
  return child_->signal(SIGKILL) ? kSuccess : kProcessFailed;
}

std::optional<int> Client::exit_status() {
  const std::optional<Ending>& ending = child_->ending();
  if (!ending) return std::nullopt;
  return ending->by_signal ? 128 + ending->value : ending->value;
}

void Client::note(std::string_view line) const {
  if (request_.journal) request_.journal(request_.blot(line));
}

void Client::note_sent(std::string_view line) {
  note_left_out();
  noted_ = 0;
  note("> " + std::string(line));
}

// A client that floods us must not fill the disk with its journal.
void Client::note_said(std::string_view line) {
  if (request_.said) request_.said(request_.blot(line));
  const std::size_t room = kMostNoted - std::min(noted_, kMostNoted);
  if (room > 0 || line.empty()) note(line.substr(0, room));
  noted_ += line.size() + 1;
  left_out_ += line.size() - std::min(line.size(), room);
}

void Client::note_left_out() {
  if (left_out_ > 0) note("[and " + std::to_string(left_out_) + " bytes more]");
  left_out_ = 0;
}

void Client::remember_error(std::string_view line) {
  append_bounded(&error_words_, request_.blot(line));
}
void Client::remember_output(std::string_view line) {
  append_bounded(&output_words_, request_.blot(line));
}

void Client::forget_failure() {
  explanation_.clear();
  error_words_.clear();
  output_words_.clear();
}

void Client::explain_ended() {
  if (explanation_.empty()) explanation_ = how_it_ended();
}

std::string Client::how_it_ended() {
  child_->end(limits().close_grace, limits().close_grace);
  return "the client ended (" + describe(*child_->ending()) + ")";
}

std::string Client::in_seconds(Milliseconds time) {
  const auto ms = time.count();
  return ms % 1000 == 0 ? std::to_string(ms / 1000) + " s" : std::to_string(ms) + " ms";
}

std::string Client::nothing_moved() const {
  return "nothing has moved for " + in_seconds(limits().stall) + " (--stall-limit raises it)";
}

std::string Client::no_answer_within(Limit limit) const {
  const std::string name = limit == &LaunchLimits::start     ? "start"
                           : limit == &LaunchLimits::command ? "command"
                                                             : "transfer";
  return "the client gave no answer within the " + name + " limit of " +
         in_seconds(limits().*limit) + " and was ended (--" + name + "-limit raises it)" +
         (limit == &LaunchLimits::start ? ": check host and port" : "");
}

}  // namespace fileref::runtime
