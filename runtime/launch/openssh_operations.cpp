#include "runtime/launch/openssh_operations.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/launch/local_file.h"
#include "runtime/launch/openssh_answers.h"

namespace fileref::runtime::openssh {
namespace {

// The client misses a refused block of an upload when blocks before and behind it are accepted. It
// sends blocks of 32 KiB or more.
constexpr std::uint64_t kNeverWithHoles = std::uint64_t{64} << 10;

std::string bytes(std::uint64_t count) {
  return std::to_string(count) + " bytes";
}

bool says_mkdir_failed(std::string_view err) {
  return has_line(
      err, {"remote mkdir \"", "Couldn't create directory", "realpath ", "Couldn't canonicali"});
}

// The client itself knows that it failed, even if the number of bytes is right.
bool says_download_failed(std::string_view err) {
  return has_line(err, {"read remote \"", "write local \"", "Couldn't read from remote file",
                        "Couldn't write to \""});
}

bool says_upload_failed(std::string_view err) {
  return has_line(err, {"dest open \"", "remote open(\"", "write remote \"", "close remote",
                        "Couldn't write to remote file", "Couldn't close file"});
}

bool says_host_is_unknown(std::string_view words) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find('\n'), words.size());
    const std::string_view line = words.substr(0, end);
    const auto says = [&](std::string_view text) { return line.find(text) != line.npos; };
    if ((says("Could not resolve hostname") || says("Name or service not known")) &&
        !says("Temporary failure in name resolution")) {
      return true;
    }
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}

// The directory in the reply to a request that ended in `pwd`.
std::string working_directory(std::string_view out) {
  constexpr std::string_view kAnswer = "sftp> pwd\nRemote working directory: ";
  const std::size_t at = out.find(kAnswer);
  if (at == out.npos || (at > 0 && out[at - 1] != '\n')) return {};
  out.remove_prefix(at + kAnswer.size());
  if (out.ends_with('\n')) out.remove_suffix(1);
  return std::string(out);
}

}  // namespace

Step Start::begin() {
  return Request{};
}

Step Start::take(const Reply& reply) {
  if (!up_) {
    up_ = true;
    return Request{{"pwd"}};
  }
  session_->directory = working_directory(reply.out);
  return done();
}

Answer Start::lost(Answer failure, std::string_view words) {
  if (failure.status == kEndOfOutput && says_host_is_unknown(words)) {
    return {kSuccess, "host does not exist\n", std::move(failure.explanation), true};
  }
  return failure;
}

Step ChangeDirectory::begin() {
  if (name_.empty()) return refusal("no such file or directory", "the directory name is empty");
  return Request{{line_, "pwd"}};
}

Step ChangeDirectory::take(const Reply& reply) {
  const std::string before = std::exchange(session_->directory, working_directory(reply.out));
  const bool moved = session_->directory != before;
  if (!reply.err.empty() && !moved && !is_current()) return refusal("no such file or directory");
  session_->left = before;
  return done();
}

bool ChangeDirectory::is_current() const {
  std::string_view name = name_;
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  return name == "." || name == session_->directory;
}

Step LeaveDirectory::begin() {
  if (target_.empty()) return failure("there is no directory to go back to");
  // The client shows some bytes of a path with backslashes; then ".." has to do.
  const bool as_shown = target_.find('\\') == target_.npos;
  const std::string line = "cd " + quote(as_shown ? target_ : "..");
  if (line.size() > kLongestLine) return failure("the path to go back to is too long");
  return Request{{line, "pwd"}};
}

// In another directory, names would stand for other files.
Step LeaveDirectory::take(const Reply& reply) {
  session_->directory = working_directory(reply.out);
  if (session_->directory == target_) return done();
  Answer lost = failure("the session cannot get back to " + quoted(target_));
  lost.ends_client = true;
  return lost;
}

Step MakeDirectory::begin() {
  if (name_.empty()) return refusal("failure", "the directory name is empty");
  return Request{{line_}};
}

Step MakeDirectory::take(const Reply& reply) {
  return says_mkdir_failed(reply.err) ? refusal("failure") : done();
}

Step Download::begin() {
  if (command_.remote.empty()) {
    return refusal("unable to open: no such file or directory", "the remote name is empty");
  }
  if (!listed_) return ask_size();
  before_ = {RemoteFile::Kind::kFile, listed_};
  return transfer();
}

Step Download::ask_size() {
  state_ = State::kAskSize;
  return Request{{list_}, false, true};
}

Step Download::transfer() {
  if (const int error = remove_local(part_)) {
    return fail("cannot remove " + quoted(part_) + ": " + std::strerror(error));
  }
  state_ = State::kTransfer;
  return Request{{get_}, true, false};
}

Step Download::take(const Reply& reply) {
  switch (state_) {
    case State::kAskSize:
      before_ = read_listing(reply, command_.remote);
      return transfer();
    case State::kTransfer:
      return judge(reply);
    case State::kAskSizeAgain:
      break;
  }
  return judge_again(read_listing(reply, command_.remote));
}

Step Download::judge(const Reply& reply) {
  const std::optional<std::uint64_t> size = local_size(part_);
  if (!size) return refused();
  arrived_ = *size;
  // Servers that know no sizes state 0.
  const std::uint64_t stated = before_.size.value_or(0);
  if (says_download_failed(reply.err)) return fail(arrived_of(stated));
  if (before_.size == arrived_) return accept();
  if (stated == 0) {
    if (reply.err.empty()) return accept();
    return fail("the server states no size to compare with, and the client complains");
  }
  // What was listed may be long out of date, so start afresh.
  if (std::exchange(listed_, std::nullopt)) return ask_size();
  state_ = State::kAskSizeAgain;
  return Request{{list_}, false, true};
}

// The file may have been growing.
Step Download::judge_again(const RemoteFile& now) {
  const std::uint64_t before = *before_.size;
  if (now.size && before < *now.size && before <= arrived_ && arrived_ <= *now.size) {
    return accept();
  }
  if (now.size && *now.size != before) {
    return fail("it changed under way from " + bytes(before) + " to " + bytes(*now.size));
  }
  return fail(arrived_of(before));
}

std::string Download::arrived_of(std::uint64_t stated) const {
  return std::to_string(arrived_) + " of " + bytes(stated) + " arrived";
}

Answer Download::refused() const {
  if (const int error = probe_local(part_)) {
    return failure("cannot create " + quoted(part_) + ": " + std::strerror(error));
  }
  const bool irregular =
      before_.kind == RemoteFile::Kind::kDirectory || before_.kind == RemoteFile::Kind::kOther;
  return refusal("unable to open: no such file or directory",
                 irregular ? quoted(command_.remote) + " is not a regular file" : "");
}

Answer Download::accept() {
  // The client made it with the remote file's permissions, which may keep even us from reading it.
  int error = set_local_mode(part_, 0600);
  if (!error) error = rename_local(part_, command_.local);
  if (error) return fail("cannot write " + quoted(command_.local) + ": " + std::strerror(error));
  return done();
}

Answer Download::fail(const std::string& reason) {
  remove_local(part_);
  return failure("the download of " + quoted(command_.remote) + " broke off: " + reason);
}

Answer Download::lost(Answer failure, std::string_view) {
  failure.explanation = fail(failure.explanation).explanation;
  return failure;
}

std::string explain_failed_upload(const Session& session, const Command& command,
                                  const std::string& reason) {
  // While it was sent it had the permissions that the remote file was to get.
  set_local_mode(command.local, 0600);
  const std::string place = session.keep_unsent ? session.keep_unsent(command.local) : "";
  return "the upload of " + quoted(command.remote) + " failed: " + reason +
         (place.empty() ? "; the data could not be kept" : "; the data is kept in " + place);
}

Step Upload::begin() {
  if (command_.remote.empty()) return fail("the remote name is empty");
  return Request{{list_}, false, true};
}

Step Upload::take(const Reply& reply) {
  switch (state_) {
    case State::kLook:
      before_ = read_listing(reply, command_.remote);
      return transfer();
    case State::kTransfer:
      complaint_ = reply.err;
      state_ = State::kLookAgain;
      return Request{{list_}, false, true};
    case State::kLookAgain:
      return judge(read_listing(reply, command_.remote));
    case State::kReadBack:
      break;
  }
  return judge_copy();
}

Step Upload::transfer() {
  // The client would put the file into it.
  if (before_.kind == RemoteFile::Kind::kDirectory) return fail("the remote name is a directory");
  // A new remote file gets the permissions of the local one, and those are for us alone. Should
  // that fail, the upload is still good.
  set_local_mode(command_.local, default_file_mode());
  state_ = State::kTransfer;
  return Request{{put_}, true, false};
}

Step Upload::judge(const RemoteFile& arrived) {
  const std::optional<std::uint64_t> size = local_size(command_.local);
  if (!size) return fail("the local file " + quoted(command_.local) + " went away");
  if (!arrived.size) return fail("the server shows no such file afterwards");
  if (*arrived.size != *size) {
    return fail(std::to_string(*arrived.size) + " of " + bytes(*size) + " arrived");
  }
  if (says_upload_failed(complaint_)) return fail("the client reports a failure");
  may_be_the_old_file_ = before_.size == size && !complaint_.empty();
  const bool may_have_holes = session_->verify_uploads && *size > kNeverWithHoles;
  if (!may_be_the_old_file_ && !may_have_holes) return done();
  if (const int error = remove_local(copy_)) {
    return fail("cannot remove " + quoted(copy_) + ": " + std::strerror(error));
  }
  state_ = State::kReadBack;
  return Request{{get_}, true, true};
}

// Where the file cannot be read back whole, its size has to do.
Answer Upload::judge_copy() {
  const bool whole = local_size(copy_) == local_size(command_.local);
  const bool same = whole && same_contents(copy_, command_.local);
  remove_local(copy_);
  if (same || (!whole && !may_be_the_old_file_)) return done();
  return fail(whole ? "other data arrived" : "the server may have kept an older file of that size");
}

Answer Upload::fail(const std::string& reason) {
  return failure(explain_failed_upload(*session_, command_, reason));
}

Answer Upload::lost(Answer failure, std::string_view) {
  remove_local(copy_);
  failure.explanation = explain_failed_upload(*session_, command_, failure.explanation);
  return failure;
}

}  // namespace fileref::runtime::openssh
