#include "runtime/launch/direct/fetch.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/direct/session.h"
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

void Fetch::look(sftp::Connection& connection, std::function<bool(std::uint64_t size)> wants) {
  wants_ = std::move(wants);
  changed_ = false;
  asker_ = std::make_unique<sftp::Asker>(connection);
  sftp::ask_attributes(*asker_, path_,
                       [this, &connection](const Status& status, const Attributes& now) {
                         take_attributes(connection, status, now);
                       });
}

void Fetch::take_attributes(sftp::Connection& connection, const Status& status,
                            const Attributes& now) {
  const Kind kind = now.kind();
  if (!status.is_ok()) {
    refuse(said_of(path_, status));
  } else if (kind != Kind::kFile && kind != Kind::kUnknown) {
    refuse(quoted(path_) + " is not a regular file");
  } else if (wants_ && (kind != Kind::kFile || !now.size || !wants_(*now.size))) {
    refuse("it is not wanted");
  } else if (arrived_ > 0 && !(before_ && is_same_file(*before_, now))) {
    changed_ = true;
  } else {
    open(connection, now.size.value_or(0));
  }
}

void Fetch::open(sftp::Connection& connection, std::uint64_t expected_size) {
  expected_size_ = expected_size;
  download_ = std::make_unique<sftp::Download>(connection, path_,
                                               sftp::Download::Options{expected_size, arrived_},
                                               [this](std::string_view bytes) {
                                                 changed_ = changed_ || went_on_with_another();
                                                 return changed_ || put_away(bytes);
                                               });
  download_->allow_up_to(limit_);
}

// The file was replaced between the look at it and its opening.
bool Fetch::went_on_with_another() const {
  const std::optional<Attributes>& opened = download_->attributes();
  return arrived_ > 0 && before_ && !(opened && is_same_file(*before_, *opened));
}

void Fetch::drop() {
  if (has_ended() && !changed_) return;
  if (download_) {
    arrived_ = download_->position();
    if (download_->attributes()) before_ = download_->attributes();
  }
  download_.reset();
  asker_.reset();
}

void Fetch::forget() {
  drop();
  before_.reset();
  arrived_ = 0;
  changed_ = false;
  failure_.clear();
  waiting_.clear();
}

void Fetch::allow_up_to(std::uint64_t offset) {
  limit_ = offset;
  if (download_) download_->allow_up_to(offset);
}

void Fetch::refuse(std::string failure) {
  refused_ = arrived_ == 0;
  failure_ = std::move(failure);
}

bool Fetch::is_open() const {
  return has_ended() || changed_ || (download_ && download_->is_open());
}

std::string Fetch::failure() const {
  if (!failure_.empty() || !download_) return failure_;
  if (!download_->was_refused()) return download_->failure();
  return "the server says of " + quoted(path_) + ": " + download_->failure();
}

std::optional<std::uint64_t> Fetch::size() const {
  if (download_ && download_->attributes()) return download_->attributes()->size;
  return before_ ? before_->size : expected_size_;
}

}  // namespace fileref::runtime::direct
