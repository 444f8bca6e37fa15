#include "runtime/launch/direct/direct_client.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/child/sockets.h"
#include "runtime/launch/direct/directories.h"
#include "runtime/launch/direct/plan.h"

namespace fileref::runtime::direct {
namespace {

constexpr std::chrono::milliseconds kReportInterval{200};

// A command of the module on one line, without its line feed.
std::string shown(std::string_view command) {
  return std::string(command.substr(0, command.find('\n')));
}

}  // namespace

bool stands_in_for(const std::vector<std::string>& words) {
  std::string why;
  return is_systems_own(words.front()) && server_command(words, &why);
}

std::unique_ptr<Client> DirectClient::launch(LaunchRequest request,
                                             const std::vector<std::string>& words,
                                             std::string* why) {
  std::optional<ServerCommand> command = server_command(words, why);
  if (!command) return nullptr;
  std::unique_ptr<Child> child = run(request, command->words, why);
  if (!child) return nullptr;
  return std::make_unique<DirectClient>(std::move(request), *std::move(command), std::move(child));
}

DirectClient::DirectClient(LaunchRequest request, ServerCommand command,
                           std::unique_ptr<Child> child)
    : RecoveringClient(std::move(request), std::move(command.words), std::move(child)),
      settings_(command.settings),
      runs_ssh_(command.runs_ssh),
      session_(new_session(launch_request().expected)),
      ahead_(session_),
      feeds_(std::make_shared<Feeds>(
          [this](std::unique_ptr<Operation> refill) { return refill_feed(std::move(refill)); },
          [this](const Transfer& transfer, std::uint64_t bytes) { close_feed(transfer, bytes); })),
      stall_(limits().stall) {
  begin_session();
}

Session DirectClient::new_session(const std::vector<std::string>& expected) {
  Session session{.hand_out = {},
                  .keep_unsent = launch_request().keep_unsent,
                  .lent = launch_request().lent,
                  .verify_uploads = launch_request().verify_uploads,
                  .atomic_uploads = launch_request().atomic_uploads,
                  .expected = expected};
  if (launch_request().feed) {
    session.hand_out = [this](const Transfer& transfer, std::unique_ptr<Fetch> fetch) {
      launch_request().feed(transfer.local,
                            std::make_unique<Feed>(feeds_, transfer, std::move(fetch)));
    };
  }
  return session;
}

bool DirectClient::is_renewable() const {
  return is_ready_ && !busy() && connection_ && !connection_->is_broken() && child().is_ours() &&
         child().talking();
}

bool DirectClient::renew(const std::vector<std::string>& expected) {
  if (is_renewable()) move_bytes(Clock::now());
  if (!is_renewable()) return false;
  feeds_->drop();
  ahead_.drop();
  session_ = new_session(expected);
  begin_session();
  return true;
}

DirectClient::~DirectClient() {
  feeds_->cut_off();
  ahead_.drop();
  if (busy() && child().is_ours()) DirectClient::withdraw();
  if (runs_ssh_ && has_nothing_to_do()) child().dismiss(limits().close_grace);
  end_session();
}

// Then the server's own end of the session is not worth a round trip, unless our ssh is what other
// sessions go through (ControlMaster).
bool DirectClient::has_nothing_to_do() {
  return is_ready_ && !busy() && connection_ && !connection_->is_awaited() && child().is_ours() &&
         !may_serve_others(child().pid());
}

TKStatus DirectClient::refill_feed(std::unique_ptr<Operation> refill) {
  const TKStatus status = carry_out(std::move(refill));
  if (status != kSuccess) tell_trouble();
  return status;
}

void DirectClient::close_feed(const Transfer& transfer, std::uint64_t bytes) {
  if (std::exchange(has_reported_, false)) tell(transfer, bytes, true);
}

std::unique_ptr<Operation> DirectClient::start() {
  return std::make_unique<Start>(session_);
}

std::unique_ptr<Operation> DirectClient::plan(std::string_view command, std::string* why) {
  note_sent(shown(command));
  return direct::plan(command, &session_, &ahead_, why);
}

void DirectClient::begin_current() {
  if (!connection_) connect();
  limit_ = current().transfer() != nullptr ? &LaunchLimits::transfer : quick_limit();
  deadline_ = deadline_after(limits().*limit_);
  if (current().transfer() != nullptr) begin_transfer();
  has_begun_ = is_ready_;
  if (has_begun_) current().begin(*connection_);
  move_bytes(Clock::now());
  settle();
}

void DirectClient::begin_transfer() {
  stall_.begin();
  const std::optional<Clock::duration> taken = current().taken_before();
  if (!taken) report_due_ = Clock::now() + kReportInterval;
  if (deadline_ != Clock::time_point::max()) deadline_ -= taken.value_or(Clock::duration::zero());
}

void DirectClient::connect() {
  is_ready_ = false;
  child().widen_pipes();
  sftp::Connection::Trace trace;
  if (launch_request().trace) trace = [this](std::string_view line) { note(line); };
  connection_ =
      std::make_unique<sftp::Connection>([this] { is_ready_ = true; }, std::move(trace), settings_);
}

void DirectClient::go_on(Clock::time_point deadline) {
  const bool reports = current().transfer() != nullptr && progress();
  const Clock::time_point next_report = reports ? report_due_ : deadline;
  move_bytes(std::min({deadline, deadline_, next_report, stall_.due()}));
  report(false);
  const bool stalled = stall_.look(child().pid());
  if (!settle()) return;
  if (!child().talking()) {
    lose(kEndOfOutput, is_ready_ ? "" : why_not_ready());
  } else if (Clock::now() >= deadline_) {
    lose(kNoAnswerInTime, no_answer_within(limit_));
  } else if (stalled) {
    lose(kEndOfOutput, nothing_moved());
  }
}

void DirectClient::send_requests() {
  while (!connection_->output().empty()) {
    const std::size_t taken = child().write(connection_->output());
    if (taken == 0) return;
    connection_->sent(taken);
  }
}

void DirectClient::move_bytes(Clock::time_point deadline) {
  send_requests();
  std::string err;
  child().pump(deadline, &connection_->input(), &err, !connection_->output().empty());
  error_lines().add(err);
  remember_errors(err);
  connection_->take_input();
  if (!child().talking()) connection_->end();
}

// For a reason of its own ssh ends with 255; else it ends as the server's program did.
std::string DirectClient::why_not_ready() {
  constexpr int kFailureOfSsh = 255;
  std::string ending = how_it_ended();
  const Ending& how = *child().ending();
  if (how.by_signal || how.value == kFailureOfSsh) return ending;
  return ending +
         ": the server's file server program did not start; check that it is there "
         "(Subsystem in sshd_config, -s and -D in OPTIONS) and that this user may run it";
}

// False when the current operation is over, or another one has begun.
bool DirectClient::settle() {
  if (connection_->is_broken()) {
    lose(kProcessFailed, connection_->fault());
    return false;
  }
  if (is_ready_ && !std::exchange(has_begun_, is_ready_)) current().begin(*connection_);
  std::optional<Answer> answer = has_begun_ ? current().answer() : std::nullopt;
  if (!answer) return true;
  report(current().ends_transfer());
  stall_.end();
  move_bytes(Clock::now());
  ended(*std::move(answer));
  return false;
}

void DirectClient::report(bool ended) {
  const Transfer* transfer = current().transfer();
  if (transfer == nullptr || !progress()) return;
  const bool is_due = ended ? has_reported_ : Clock::now() >= report_due_;
  if (!is_due) return;
  if (!std::exchange(has_reported_, !ended)) place_ = session_.place_of(transfer->remote);
  report_due_ = Clock::now() + kReportInterval;
  tell(*transfer, current().moved(), ended);
}

void DirectClient::tell(Transfer transfer, std::uint64_t bytes, bool ended) const {
  transfer.number = place_.number;
  transfer.files = place_.files;
  progress()(transfer, bytes, ended);
}

void DirectClient::withdraw() {
  const bool can_ask = has_begun_ && connection_ && !connection_->is_broken() && child().talking();
  if (!can_ask || !current().withdraw()) return;
  ahead_.drop();
  child().ignore_interruption();
  const Clock::time_point end = Clock::now() + limits().close_grace;
  while (connection_->is_awaited() && !connection_->is_broken() && child().talking() &&
         Clock::now() < end) {
    move_bytes(end);
  }
}

void DirectClient::give_up() {
  std::string out, err;
  take_last_words(&out, &err);
  remember_errors(err);
  report(true);
  stall_.end();
  current().drop();
  feeds_->drop();
  ahead_.drop();
  connection_.reset();
}

}  // namespace fileref::runtime::direct
