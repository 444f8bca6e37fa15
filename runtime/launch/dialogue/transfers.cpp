#include "runtime/launch/dialogue/transfers.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/directories.h"
#include "runtime/launch/local_file.h"

namespace fileref::runtime {
namespace {

std::string bytes(std::uint64_t count) {
  return std::to_string(count) + " bytes";
}

}  // namespace

Step Download::begin() {
  if (command_.remote.empty()) {
    return refusal("unable to open: no such file or directory", "the remote name is empty");
  }
  return find_size();
}

// A listing of the directory may know the size. One of names only is worth another with sizes once
// its files were looked at one by one for about as long as that takes.
Step Download::find_size() {
  constexpr std::size_t kNamesListedInTheTimeOfALook = 256;
  const std::optional<DirectoryListing::Entry> entry = session_->find(command_.remote);
  from_listing_ = entry && entry->type == '-';
  if (from_listing_) {
    before_ = {RemoteFile::Kind::kFile, entry->size};
    return transfer();
  }
  const bool lacks_sizes = entry && entry->type == DirectoryListing::kUnknownType;
  const std::size_t names = lacks_sizes ? session_->listed->size() : 0;
  if (lacks_sizes && ++session_->looks_saved > names / kNamesListedInTheTimeOfALook) {
    state_ = State::kAskAllSizes;
    return looking(dialect_.look_at_all(path_of_here(dialect_, *session_)));
  }
  return ask_size();
}

Step Download::ask_size() {
  from_listing_ = false;
  state_ = State::kAskSize;
  return look_.begin();
}

Step Download::transfer() {
  // What an attempt with an outdated size left goes, too.
  if (const int error = remove_local(part_)) {
    return fail("cannot remove " + quoted(part_) + ": " + std::strerror(error));
  }
  const bool irregular =
      before_.kind == RemoteFile::Kind::kDirectory || before_.kind == RemoteFile::Kind::kOther;
  if (irregular) {
    return refusal("unable to open: no such file or directory",
                   quoted(command_.remote) + " is not a regular file");
  }
  state_ = State::kTransfer;
  return Request{{dialect_.download(command_.remote, part_)},
                 false,
                 Transfer{false, command_.remote, part_, before_.size}};
}

Step Download::take(const Reply& reply) {
  switch (state_) {
    case State::kAskAllSizes:
      session_->listed = dialect_.found_all(reply, path_of_here(dialect_, *session_));
      session_->looks_saved = 0;
      return find_size();
    case State::kAskSize:
      if (std::optional<Request> more = look_.take(reply)) return *std::move(more);
      before_ = look_.found();
      return transfer();
    case State::kTransfer:
      return judge(reply);
    case State::kAskSizeAgain:
      break;
  }
  if (std::optional<Request> more = look_.take(reply)) return *std::move(more);
  return judge_again(look_.found());
}

Step Download::judge(const Reply& reply) {
  const std::optional<std::uint64_t> size = local_size(part_);
  if (!size) return refused();
  arrived_ = *size;
  // Servers that know no sizes state 0.
  const std::uint64_t stated = before_.size.value_or(0);
  const Verdict verdict = dialect_.verdict(Command::Verb::kDownload, reply);
  if (verdict == Verdict::kFailure) return fail(arrived_of(stated));
  if (before_.size == arrived_) return accept();
  if (stated == 0) {
    if (verdict == Verdict::kSuccess) return accept();
    return fail("the server states no size to compare with, and the client complains");
  }
  if (from_listing_) return ask_size();
  state_ = State::kAskSizeAgain;
  return look_.begin();
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
  if (stated == 0) return "the client reports a failure behind " + bytes(arrived_);
  return std::to_string(arrived_) + " of " + bytes(stated) + " arrived";
}

Answer Download::refused() const {
  if (const int error = probe_local(part_)) {
    return failure("cannot create " + quoted(part_) + ": " + std::strerror(error));
  }
  return refusal("unable to open: no such file or directory");
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

std::string explain_failed_upload(const std::function<std::string(const std::string&)>& keep,
                                  const Command& command, const std::string& reason, bool sent) {
  // While it was sent it had the permissions that the remote file was to get.
  set_local_mode(command.local, 0600);
  const std::string place = keep ? keep(command.local) : "";
  return "the upload of " + quoted(command.remote) + " failed: " + reason +
         (sent ? "; the remote file may be incomplete" : "") +
         (place.empty() ? "; the data could not be kept" : "; the data is kept in " + place);
}

Step Upload::begin() {
  if (command_.remote.empty()) return fail("the remote name is empty");
  state_ = State::kLook;
  return look_.begin();
}

Step Upload::take(const Reply& reply) {
  switch (state_) {
    case State::kLook:
      if (std::optional<Request> more = look_.take(reply)) return *std::move(more);
      before_ = look_.found();
      return transfer();
    case State::kTransfer:
      verdict_ = dialect_.verdict(Command::Verb::kUpload, reply);
      if (verdict_ == Verdict::kRefused) return fail("it could not begin");
      sent_ = true;
      state_ = State::kLookAgain;
      return look_.begin();
    case State::kLookAgain:
      if (std::optional<Request> more = look_.take(reply)) return *std::move(more);
      return judge(look_.found());
    case State::kReadBack:
      break;
  }
  return judge_copy();
}

Step Upload::transfer() {
  // The client would put the file into it.
  if (before_.kind == RemoteFile::Kind::kDirectory) return fail("the remote name is a directory");
  // Opening a FIFO waits for its reader, perhaps for ever.
  if (before_.kind == RemoteFile::Kind::kOther) return fail("the remote name is no regular file");
  // A new remote file gets the permissions of the local one, and those are for us alone. Should
  // that fail, the upload is still good.
  set_local_mode(command_.local, default_file_mode());
  state_ = State::kTransfer;
  return Request{{dialect_.upload(command_.local, command_.remote)},
                 false,
                 Transfer{true, command_.remote, command_.local, local_size(command_.local)}};
}

Step Upload::judge(const RemoteFile& arrived) {
  const std::optional<std::uint64_t> size = local_size(command_.local);
  if (!size) return fail("the local file " + quoted(command_.local) + " went away");
  const std::string wrong = judge_size(arrived, *size);
  if (!wrong.empty()) return fail(wrong);
  const bool may_be_the_old_file = before_.size == size && verdict_ != Verdict::kSuccess;
  const bool states_no_size = arrived.size && *arrived.size != *size;
  const bool proven = !may_be_the_old_file && !states_no_size && !session_->verify_uploads;
  return proven ? Step(done()) : read_back();
}

// What is wrong with what is there now, or nothing.
std::string Upload::judge_size(const RemoteFile& arrived, std::uint64_t size) const {
  if (!arrived.size) {
    // The directory may be one that cannot be read.
    const bool needs_no_look = dialect_.tells_of_lost_blocks() && verdict_ == Verdict::kSuccess;
    return needs_no_look ? "" : "the server shows no such file afterwards";
  }
  const bool failed = verdict_ == Verdict::kFailure;
  if (*arrived.size == size) return failed ? "the client reports a failure" : "";
  // Servers that know no sizes state 0.
  if (*arrived.size == 0 && !failed) return "";
  if (arrived.size == before_.size) return "the remote file still has " + bytes(*arrived.size);
  if (*arrived.size > size) return "the remote file has " + bytes(*arrived.size) + " instead";
  return std::to_string(*arrived.size) + " of " + bytes(size) + " arrived";
}

Step Upload::read_back() {
  if (const int error = remove_local(copy_)) {
    return fail("cannot remove " + quoted(copy_) + ": " + std::strerror(error));
  }
  state_ = State::kReadBack;
  return Request{{dialect_.download(command_.remote, copy_)},
                 false,
                 Transfer{false, command_.remote, copy_, local_size(command_.local)}};
}

Answer Upload::judge_copy() {
  const std::optional<std::uint64_t> copied = local_size(copy_);
  const std::uint64_t size = local_size(command_.local).value_or(0);
  const bool same = copied && same_contents(copy_, command_.local);
  remove_local(copy_);
  if (same) return done();
  if (!copied) return fail("it cannot be read back to be compared");
  if (*copied < size) return fail(std::to_string(*copied) + " of " + bytes(size) + " came back");
  return fail("other data arrived");
}

Answer Upload::fail(const std::string& reason) {
  return failure(explain_failed_upload(session_->keep_unsent, command_, reason, sent_));
}

Answer Upload::lost(Answer failure, std::string_view) {
  remove_local(copy_);
  sent_ = sent_ || state_ != State::kLook;
  failure.explanation =
      explain_failed_upload(session_->keep_unsent, command_, failure.explanation, sent_);
  return failure;
}

}  // namespace fileref::runtime
