#include "runtime/launch/direct/get.h"

#include <utility>

#include "runtime/launch/answers.h"

namespace fileref::runtime::direct {

Get::Get(Session* session, FetchAhead* ahead, Command command)
    : session_(session),
      ahead_(ahead),
      command_(std::move(command)),
      part_(command_.local),
      transfer_{false, command_.remote, command_.local} {}

void Get::begin(sftp::Connection& connection) {
  answer_.reset();
  connection_ = &connection;
  if (command_.remote.empty()) {
    answer_ = refuse("the remote name is empty");
  } else if (command_.remote.ends_with('/')) {
    answer_ = refuse(quoted(command_.remote) + " is not a regular file");
  } else if (!hands_out() && !part_.is_open() && !part_.create()) {
    answer_ = fail(part_.why());
  } else if (fetch_) {
    fetch_->look(connection);
  } else {
    find(connection);
    ahead_->go_on(connection, command_.remote);
  }
}

// What is known of a file is not asked.
void Get::find(sftp::Connection& connection) {
  const std::optional<std::uint64_t> size = session_->take_file_size(command_.remote);
  fetch_ = ahead_->take(command_.remote);
  const bool is_new = !fetch_;
  if (is_new) fetch_ = std::make_unique<Fetch>(session_->path_of(command_.remote));
  hands_out() ? fetch_->allow_up_to(kMostWaiting) : put_into_file();
  if (!is_new) return;
  size ? fetch_->open(connection, *size) : fetch_->look(connection);
}

// What came already, and what comes.
void Get::put_into_file() {
  for (ByteQueue& waiting = fetch_->waiting(); !waiting.is_empty();) {
    part_.write(waiting.front());
    waiting.skip(waiting.front().size());
  }
  fetch_->put_away = [this](std::string_view bytes) { return part_.write(bytes); };
  fetch_->allow_up_to(kNoLimit);
}

void Get::drop() {
  if (fetch_) fetch_->drop();
}

std::optional<Answer> Get::answer() {
  if (answer_ || !fetch_) return answer_;
  transfer_.total = fetch_->size();
  if (fetch_->has_changed()) begin_anew();
  if (!answer_ && hands_out() && fetch_->is_open() && !fetch_->has_ended()) return hand_out();
  if (answer_ || !fetch_->has_ended()) return answer_;
  return judge();
}

// Nothing of it was handed out yet.
void Get::begin_anew() {
  fetch_->forget();
  if (!hands_out() && !part_.clear()) answer_ = fail(part_.why());
  fetch_->look(*connection_);
}

Answer Get::judge() {
  if (!part_.why().empty()) return fail(part_.why());
  if (fetch_->was_refused()) return refuse(fetch_->failure());
  if (!fetch_->failure().empty()) return fail(fetch_->failure());
  if (hands_out()) return hand_out();
  return part_.put_in_place() ? done() : fail(part_.why());
}

Answer Get::hand_out() {
  transfer_.total = fetch_->size();
  session_->hand_out(transfer_, std::move(fetch_));
  return done();
}

Answer Get::refuse(std::string explanation) const {
  return refusal("unable to open: no such file or directory", std::move(explanation));
}

Answer Get::fail(const std::string& reason) const {
  return failure("the download of " + quoted(command_.remote) + " broke off: " + reason);
}

Answer Get::lost(Answer failure, std::string_view) {
  failure.explanation = fail(failure.explanation).explanation;
  return failure;
}

}  // namespace fileref::runtime::direct
