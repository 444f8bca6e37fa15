#include "runtime/launch/direct/put.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/transfers.h"
#include "runtime/launch/direct/part_file.h"
#include "runtime/launch/local_file.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {
namespace {

constexpr const char* kReplacesSource =
    "it may be the file that is sent, and there is no room for a copy of that";

using sftp::Attributes;
using sftp::Kind;
using sftp::Status;

}  // namespace

Put::Put(Session* session, Command command)
    : session_(session),
      command_(std::move(command)),
      transfer_{true, command_.remote, command_.local} {}

void Put::begin(sftp::Connection& connection) {
  answer_.reset();
  connection_ = &connection;
  asker_ = std::make_unique<sftp::Asker>(connection);
  local_ = session_->open_local(command_.local);
  if (command_.remote.empty()) {
    answer_ = fail("the remote name is empty");
  } else if (!local_) {
    answer_ = fail("the local file cannot be read: " + std::string(std::strerror(errno)));
  } else {
    transfer_.total = local_->size();
    by_way_of_.empty() ? look() : remove_part([this] { look(); });
  }
}

// Of this attempt, or of that in a session that was lost.
void Put::remove_part(const std::function<void()>& then) {
  sftp::ask_status(*asker_, sftp::Type::kRemove, by_way_of_, [this, then](const Status& status) {
    if (sftp::is_gone(status)) by_way_of_.clear();
    then();
  });
}

// The opening of the part may be under way: servers do one behind the other what concerns one file.
bool Put::withdraw() {
  if (makes_new_ && upload_ && by_way_of_.empty()) by_way_of_ = target_;
  if (by_way_of_.empty()) return false;
  copy_.reset();
  upload_.reset();
  asker_ = std::make_unique<sftp::Asker>(*connection_);
  remove_part([] {});
  return true;
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
    makes_new_ = makes_new_ || status.code == sftp::kNoSuchFile;
    if (kind == Kind::kDirectory) {
      answer_ = fail("the remote name is a directory");
    } else if (kind == Kind::kOther) {
      answer_ = fail("the remote name is no regular file");
    } else if (status.is_ok() && may_be_source(before) && !copy_source()) {
      answer_ = fail(kReplacesSource);
    } else {
      send(status.is_ok() ? before : Attributes{});
    }
  });
}

// Whether it is, as far as can be told, the file that is lent, which would be emptied before it is
// sent.
bool Put::may_be_source(const Attributes& found) const {
  if (session_->atomic_uploads || !session_->is_lent(command_.local)) return false;
  const std::optional<struct stat> source = local_->status();
  if (!source) return true;
  const auto size = static_cast<std::uint64_t>(source->st_size);
  const auto time = static_cast<std::uint32_t>(source->st_mtime);
  return found.size.value_or(size) == size && found.modification_time.value_or(time) == time;
}

bool Put::copy_source() {
  if (session_->lent->copy(command_.local)) local_ = open_range(command_.local);
  return !session_->is_lent(command_.local) && local_;
}

void Put::send(const Attributes& before) {
  sftp::Upload::Options options{.mode = default_file_mode(), .waits = session_->verify_uploads};
  if (session_->atomic_uploads) {
    if (!real_path_.empty()) target_ = real_path_;
    options.by_way_of = by_way_of_ = name_beside(target_);
    options.replaced_mode = before.mode;
  }
  upload_ = std::make_unique<sftp::Upload>(
      *connection_, target_, options,
      [this](char* buffer, std::size_t capacity) { return local_->read(buffer, capacity); });
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
  if (!upload_->leaves_part()) by_way_of_.clear();
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
  local_->rewind();
  copy_ = std::make_unique<sftp::Download>(
      *connection_, upload_->written_path(), sftp::Download::Options{transfer_.total},
      [this](std::string_view bytes) { return is_next(bytes); });
}

// Whether the local file goes on with these bytes.
bool Put::is_next(std::string_view bytes) {
  std::array<char, 65536> piece;
  while (!bytes.empty()) {
    const long count = local_->read(piece.data(), std::min(piece.size(), bytes.size()));
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

Answer Put::fail(std::string reason) {
  if (!by_way_of_.empty()) reason += "; a part of it may be left in " + quoted(by_way_of_);
  const bool touched = touched_before_ || (upload_ && upload_->has_touched());
  return failure(explain_failed_upload(session_->keep_unsent, command_, reason, touched));
}

Answer Put::lost(Answer failure, std::string_view) {
  failure.explanation = fail(failure.explanation).explanation;
  return failure;
}

std::uint64_t Put::moved() const {
  return upload_ ? upload_->confirmed() : 0;
}

}  // namespace fileref::runtime::direct
