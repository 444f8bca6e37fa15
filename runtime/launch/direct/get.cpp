#include "runtime/launch/direct/get.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {
namespace {

using sftp::Attributes;
using sftp::Kind;
using sftp::Status;

// As far as its attributes tell.
bool is_same_file(const Attributes& before, const Attributes& now) {
  return now.size && now.size == before.size && now.modification_time &&
         now.modification_time == before.modification_time;
}

}  // namespace

Get::Get(Session* session, FetchAhead* ahead, Command command)
    : session_(session),
      ahead_(ahead),
      command_(std::move(command)),
      part_(command_.local),
      transfer_{false, command_.remote, command_.local} {}

void Get::begin(sftp::Connection& connection) {
  answer_.reset();
  if (command_.remote.empty()) {
    answer_ = refuse("the remote name is empty");
  } else if (command_.remote.ends_with('/')) {
    answer_ = refuse(quoted(command_.remote) + " is not a regular file");
  } else if (!part_.is_open() && !part_.create()) {
    answer_ = fail(part_.why());
  } else {
    find(connection);
    if (!answer_) ahead_->go_on(connection, command_.remote);
  }
}

// What is known of a file is not asked.
void Get::find(sftp::Connection& connection) {
  const DirectoryListing::Entry* entry = session_->find(command_.remote);
  if (std::unique_ptr<Fetch> fetch = before_ ? nullptr : ahead_->take(command_.remote)) {
    adopt(std::move(fetch));
  } else if (!before_ && entry != nullptr && entry->type == '-') {
    fetch_file(connection, entry->size, 0);
  } else {
    ask_what_it_is(connection);
  }
}

void Get::ask_what_it_is(sftp::Connection& connection) {
  asker_ = std::make_unique<sftp::Asker>(connection);
  const std::string path = session_->path_of(command_.remote);
  sftp::ask_attributes(*asker_, path,
                       [this, path, &connection](const Status& status, const Attributes& now) {
                         const Kind kind = now.kind();
                         if (!status.is_ok()) {
                           answer_ = refuse(said_of(path, status));
                         } else if (kind != Kind::kFile && kind != Kind::kUnknown) {
                           answer_ = refuse(quoted(command_.remote) + " is not a regular file");
                         } else {
                           fetch_file(connection, now.size.value_or(0), offset_to_go_on_at(now));
                         }
                       });
}

// A file that changed is fetched anew.
std::uint64_t Get::offset_to_go_on_at(const Attributes& now) {
  if (!before_) return 0;
  if (is_same_file(*before_, now)) return arrived_;
  before_.reset();
  if (!part_.clear()) answer_ = fail(part_.why());
  return 0;
}

void Get::fetch_file(sftp::Connection& connection, std::uint64_t size, std::uint64_t from) {
  fetch_ = std::make_unique<Fetch>(session_->path_of(command_.remote));
  fetch_->put_away = [this](std::string_view bytes) { return part_.write(bytes); };
  fetch_->start(connection, size, from);
}

// What came already is put away, and so is what comes.
void Get::adopt(std::unique_ptr<Fetch> fetch) {
  fetch_ = std::move(fetch);
  if (!part_.write(fetch_->bytes)) answer_ = fail(part_.why());
  fetch_->bytes = {};
  fetch_->put_away = [this](std::string_view bytes) { return part_.write(bytes); };
}

void Get::drop() {
  if (fetch_ && fetch_->download && fetch_->download->attributes()) {
    before_ = fetch_->download->attributes();
    arrived_ = fetch_->download->position();
  } else if (part_.is_open()) {
    before_.emplace();  // of which nothing is known, so the file is fetched anew
  }
  fetch_.reset();
  asker_.reset();
}

std::optional<Answer> Get::answer() {
  if (answer_ || !fetch_) return answer_;
  if (fetch_->download->attributes()) transfer_.total = fetch_->download->attributes()->size;
  if (went_on_with_another()) fetch_anew();
  if (answer_ || !fetch_->download->has_ended()) return answer_;
  return judge();
}

// The file was replaced between the look at it and its opening.
bool Get::went_on_with_another() const {
  const std::optional<Attributes>& opened = fetch_->download->attributes();
  return before_ && opened && !is_same_file(*before_, *opened);
}

void Get::fetch_anew() {
  sftp::Connection& connection = fetch_->download->connection();
  before_.reset();
  if (!part_.clear()) answer_ = fail(part_.why());
  fetch_file(connection, transfer_.total.value_or(0), 0);
}

Answer Get::judge() {
  const sftp::Download& download = *fetch_->download;
  if (!part_.why().empty()) return fail(part_.why());
  if (download.was_refused()) {
    return refuse("the server says of " + quoted(fetch_->path) + ": " + download.failure());
  }
  if (!download.failure().empty()) return fail(download.failure());
  return part_.put_in_place() ? done() : fail(part_.why());
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

std::uint64_t Get::moved() const {
  return fetch_ && fetch_->download ? fetch_->download->position() : 0;
}

}  // namespace fileref::runtime::direct
