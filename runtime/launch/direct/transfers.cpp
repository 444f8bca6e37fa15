#include "runtime/launch/direct/transfers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/framing.h"
#include "runtime/launch/dialogue/transfers.h"
#include "runtime/launch/local_file.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {
namespace {

using sftp::Attributes;
using sftp::Kind;
using sftp::Status;

constexpr std::size_t kLongestName = 255;  // in bytes, on nearly every file system
constexpr std::size_t kRandomDigits = 12;

// Reads as many bytes as there are, `capacity` at the most; -1 when they cannot be read.
long read_some(int file, char* buffer, std::size_t capacity) {
  ssize_t count = 0;
  do {
    count = ::read(file, buffer, capacity);
  } while (count < 0 && errno == EINTR);
  return count;
}

// As far as its attributes tell.
bool is_same_file(const Attributes& before, const Attributes& now) {
  return now.size && now.size == before.size && now.modification_time &&
         now.modification_time == before.modification_time;
}

// A name beside `path` that nobody has, and that says whose it is.
std::string name_beside(const std::string& path) {
  const std::size_t name = path.rfind('/') + 1;
  const std::string end = ".fileref-" + make_nonce().substr(0, kRandomDigits);
  const std::string begin = "." + path.substr(name);
  return path.substr(0, name) + begin.substr(0, kLongestName - end.size()) + end;
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

Put::Put(Session* session, Command command)
    : session_(session),
      command_(std::move(command)),
      transfer_{true, command_.remote, command_.local, local_size(command_.local)} {}

void Put::begin(sftp::Connection& connection) {
  answer_.reset();
  connection_ = &connection;
  asker_ = std::make_unique<sftp::Asker>(connection);
  local_.reset(::open(command_.local.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (command_.remote.empty()) {
    answer_ = fail("the remote name is empty");
  } else if (!local_) {
    answer_ = fail("the local file cannot be read: " + std::string(std::strerror(errno)));
  } else {
    remove_left_over();
    look();
  }
}

// Of the attempt in a session that was lost.
void Put::remove_left_over() {
  if (by_way_of_.empty()) return;
  sftp::ask_status(*asker_, sftp::Type::kRemove, std::exchange(by_way_of_, {}),
                   [](const Status&) {});
}

// A file that is replaced is the one behind links.
void Put::look() {
  target_ = session_->path_of(command_.remote);
  if (session_->atomic_uploads) {
    sftp::ask_real_path(*asker_, target_, [this](const Status& status, std::string_view real_path) {
      if (status.is_ok() && real_path.starts_with('/')) real_path_ = real_path;
    });
  }
  sftp::ask_attributes(*asker_, target_, [this](const Status& status, const Attributes& before) {
    const Kind kind = before.kind();
    if (kind == Kind::kDirectory) {
      answer_ = fail("the remote name is a directory");
    } else if (kind == Kind::kOther) {
      answer_ = fail("the remote name is no regular file");
    } else {
      send(status.is_ok() ? before : Attributes{});
    }
  });
}

void Put::send(const Attributes& before) {
  sftp::Upload::Options options{.mode = default_file_mode(), .waits = session_->verify_uploads};
  if (session_->atomic_uploads) {
    if (!real_path_.empty()) target_ = real_path_;
    options.by_way_of = by_way_of_ = name_beside(target_);
    options.replaced_mode = before.mode;
  }
  upload_ = std::make_unique<sftp::Upload>(*connection_, target_, options,
                                           [this](char* buffer, std::size_t capacity) {
                                             return read_some(local_.get(), buffer, capacity);
                                           });
}

void Put::drop() {
  touched_before_ = touched_before_ || (upload_ && upload_->has_touched());
  copy_.reset();
  upload_.reset();
  asker_.reset();
}

std::optional<Answer> Put::answer() {
  if (answer_ || !upload_) return answer_;
  if (upload_->is_written()) verify();
  if (!upload_->has_ended()) return std::nullopt;
  by_way_of_.clear();
  return upload_->failure().empty() ? done() : fail(upload_->failure());
}

// Before it takes the place of anything.
void Put::verify() {
  if (!copy_) return read_back();
  if (!copy_->has_ended()) return;
  const std::string fault = fault_of_copy();
  fault.empty() ? upload_->accept() : upload_->fail(fault);
}

void Put::read_back() {
  ::lseek(local_.get(), 0, SEEK_SET);
  copy_ = std::make_unique<sftp::Download>(
      *connection_, upload_->written_path(), sftp::Download::Options{transfer_.total},
      [this](std::string_view bytes) { return is_next(bytes); });
}

// Whether the local file goes on with these bytes.
bool Put::is_next(std::string_view bytes) {
  std::array<char, 65536> piece;
  while (!bytes.empty()) {
    const long count = read_some(local_.get(), piece.data(), std::min(piece.size(), bytes.size()));
    if (count <= 0 || bytes.substr(0, static_cast<std::size_t>(count)) !=
                          std::string_view(piece.data(), static_cast<std::size_t>(count))) {
      return !(differs_ = true);
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string Put::fault_of_copy() const {
  if (differs_) return "other data arrived";
  if (!copy_->failure().empty()) return "it cannot be read back: " + copy_->failure();
  if (copy_->position() != upload_->confirmed()) return "it is short when it is read back";
  return {};
}

Answer Put::fail(const std::string& reason) {
  const bool touched = touched_before_ || (upload_ && upload_->has_touched());
  return failure(explain_failed_upload(session_->keep_unsent, command_, reason, touched));
}

Answer Put::lost(Answer failure, std::string_view) {
  std::string reason = failure.explanation;
  if (!by_way_of_.empty()) reason += "; a part of it may be left in " + quoted(by_way_of_);
  failure.explanation = fail(reason).explanation;
  return failure;
}

std::uint64_t Put::moved() const {
  return upload_ ? upload_->confirmed() : 0;
}

}  // namespace fileref::runtime::direct
