#include "runtime/launch/direct/directories.h"

#include <utility>
#include <vector>

#include "runtime/launch/answers.h"
#include "runtime/launch/start_failure.h"

namespace fileref::runtime::direct {
namespace {

using sftp::Attributes;
using sftp::Kind;
using sftp::Status;

constexpr char kDirectoryType = 'd', kLinkType = 'l';

}  // namespace

void Start::begin(sftp::Connection& connection) {
  answer_.reset();
  if (session_.directory.empty()) {
    answer_ = done();
    return;
  }
  asker_ = std::make_unique<sftp::Asker>(connection);
  sftp::ask_real_path(
      *asker_, session_.directory,
      [this](const Status& status, std::string_view now) { answer_ = judge(status, now); });
}

Answer Start::lost(Answer failure, std::string_view words) {
  return explained_start_failure(std::move(failure), words);
}

Answer Start::judge(const Status& status, std::string_view real_path) const {
  if (status.is_ok() && real_path == session_.directory) return done();
  return failure("the new session does not get to " + quoted(session_.directory) + " again");
}

void ChangeDirectory::begin(sftp::Connection& connection) {
  asker_ = std::make_unique<sftp::Asker>(connection);
  awaited_ = 0;
  was_asked_ = false;
  expected_size_.reset();
  const std::optional<DirectoryListing::Entry> entry = session_->find(name_);
  const bool is_known = name_.empty() || (entry && entry->type != DirectoryListing::kUnknownType);
  if (!is_known) return ask();
  if (entry && entry->type == kLinkType) ask_about_links();
}

// Each is looked at once, and not the link itself any more.
void ChangeDirectory::ask_about_links() {
  const DirectoryListing& listed = *session_->listed;
  for (std::size_t i = 0; i < listed.size(); ++i) {
    if (listed.entry(i).type != kLinkType) continue;
    ++awaited_;
    sftp::ask_attributes(*asker_, session_->path_of(listed.entry(i).name),
                         [this, i](const Status& status, const Attributes& attributes) {
                           --awaited_;
                           const Kind kind = status.is_ok() ? attributes.kind() : Kind::kOther;
                           session_->listed->set_type(i, type_letter(kind));
                         });
  }
}

void ChangeDirectory::ask() {
  was_asked_ = true;
  awaited_ = 2;
  const std::string path = session_->path_of(name_);
  sftp::ask_real_path(*asker_, path, [this](const Status& status, std::string_view real_path) {
    --awaited_;
    real_path_status_ = status;
    real_path_ = real_path;
  });
  sftp::ask_attributes(*asker_, path, [this](const Status& status, const Attributes& attributes) {
    take_kind(status, attributes);
  });
  if (session_->expected.size() == 1) ask_about_expected(path);
}

// Should it be no file, or not be there, it is asked about again in its turn.
void ChangeDirectory::ask_about_expected(const std::string& path) {
  ++awaited_;
  sftp::ask_attributes(*asker_, path_in(path, session_->expected.front()),
                       [this](const Status& status, const Attributes& attributes) {
                         --awaited_;
                         const bool is_file = status.is_ok() && attributes.kind() == Kind::kFile;
                         if (is_file) expected_size_ = attributes.size.value_or(0);
                       });
}

void ChangeDirectory::take_kind(const Status& status, const Attributes& attributes) {
  status_ = status;
  kind_ = attributes.kind();
  if (status.is_ok() && kind_ == Kind::kUnknown) return probe();
  --awaited_;
}

// The server does not tell kinds.
void ChangeDirectory::probe() {
  sftp::open_directory(*asker_, session_->path_of(name_),
                       [this](const Status& status, std::string_view handle) {
                         --awaited_;
                         status_ = status;
                         kind_ = Kind::kDirectory;
                         if (status.is_ok()) close_unwatched(asker_->connection(), handle);
                       });
}

std::optional<Answer> ChangeDirectory::answer() {
  if (name_.empty()) return refuse("the directory name is empty");
  if (awaited_ > 0) return std::nullopt;
  return was_asked_ ? judge() : judge_listed(*session_->find(name_));
}

Answer ChangeDirectory::judge() {
  const std::string path = session_->path_of(name_);
  for (const Status& status : {status_, real_path_status_}) {
    if (!status.is_ok()) return refuse(said_of(path, status));
  }
  if (kind_ != Kind::kDirectory) return refuse(quoted(path) + " is not a directory");
  return enter(real_path_.starts_with('/') ? real_path_ : path);
}

Answer ChangeDirectory::judge_listed(const DirectoryListing::Entry& entry) {
  const std::string path = session_->path_of(name_);
  if (entry.type == kDirectoryType) return enter(path);
  return refuse(quoted(path) + " is not a directory");
}

Answer ChangeDirectory::refuse(std::string explanation) {
  session_->footing.entered(false);
  return refusal("no such file or directory", std::move(explanation));
}

Answer ChangeDirectory::enter(std::string directory) {
  session_->footing.entered(true);
  session_->left = std::exchange(session_->directory, std::move(directory));
  if (expected_size_) {
    session_->seen = {session_->path_of(session_->expected.front()), *expected_size_};
  }
  return done();
}

std::optional<Answer> LeaveDirectory::answer() {
  session_->directory = session_->left;
  return done();
}

void MakeDirectory::begin(sftp::Connection& connection) {
  asker_ = std::make_unique<sftp::Asker>(connection);
  if (name_.empty()) {
    answer_ = refusal("failure", "the directory name is empty");
    return;
  }
  const bool repeats = std::exchange(was_asked_, true);
  if (!repeats) return make();
  sftp::ask_attributes(*asker_, session_.path_of(name_),
                       [this](const Status& status, const Attributes& attributes) {
                         if (!status.is_ok() || attributes.kind() != Kind::kDirectory)
                           return make();
                         answer_ = done();
                       });
}

void MakeDirectory::make() {
  const std::string path = session_.path_of(name_);
  sftp::make_directory(*asker_, path, [this, path](const Status& status) {
    answer_ = status.is_ok() ? done() : refusal("failure", said_of(path, status));
  });
}

}  // namespace fileref::runtime::direct
