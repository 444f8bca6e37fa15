#include "runtime/launch/direct/list.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {
namespace {

using sftp::Attributes;
using sftp::Kind;

}  // namespace

void List::begin(sftp::Connection& connection) {
  path_ = session_->path_of(selection_.path);
  if (path_.empty()) path_ = ".";
  names_ = DirectoryListing::empty();
  asker_ = std::make_unique<sftp::Asker>(connection);
  awaits_kind_ = may_be_a_file();
  doubts_ = awaits_entry_ = is_no_directory_ = false;
  if (awaits_kind_) {
    sftp::ask_link_attributes(*asker_, path_,
                              [this](const sftp::Status&, const Attributes& attributes) {
                                awaits_kind_ = false;
                                kind_ = attributes.kind();
                              });
  }
  listing_ = std::make_unique<sftp::Listing>(
      connection, path_, [this](std::string_view name, const Attributes& attributes) {
        names_->add(name, status_of(attributes));
      });
}

void List::drop() {
  listing_.reset();
  asker_.reset();
}

std::optional<Answer> List::answer() {
  if (awaits_kind_ || !listing_->has_ended()) return std::nullopt;
  const bool has_failed = !listing_->failure().empty();
  if (has_failed ? doubts_directory() : doubts_emptiness()) return std::nullopt;
  if (has_failed) return judge_failure();
  if (!entry_.is_ok()) return fail("it may be read, but not entered: " + entry_.text());
  return give_names();
}

// Where nothing may be looked at, servers show nothing.
bool List::doubts_emptiness() {
  if (!doubts_ && !listing_->has_shown_anything()) {
    doubts_ = awaits_entry_ = true;
    sftp::ask_attributes(*asker_, path_ + "/.",
                         [this](const sftp::Status& status, const Attributes&) {
                           awaits_entry_ = false;
                           entry_ = status;
                         });
  }
  return awaits_entry_;
}

// Of a directory that is a file many servers say that there is none, and others just that it
// failed.
bool List::doubts_directory() {
  if (!doubts_ && listing_->status().code == sftp::kFailure && kind_ == Kind::kUnknown) {
    doubts_ = awaits_entry_ = true;
    const std::string file = path_.substr(0, path_.find_last_not_of('/') + 1);
    sftp::ask_attributes(*asker_, file, [this](const sftp::Status&, const Attributes& found) {
      awaits_entry_ = false;
      is_no_directory_ = found.kind() != Kind::kDirectory && found.kind() != Kind::kUnknown;
    });
  }
  return awaits_entry_;
}

// A link that cannot be entered is listed itself, unless that is forbidden.
Answer List::judge_failure() const {
  const bool forbidden = listing_->status().code == sftp::kPermissionDenied;
  const bool is_file =
      kind_ == Kind::kFile || kind_ == Kind::kOther || (kind_ == Kind::kLink && !forbidden);
  if (is_file) return answer_file(selection_);
  Answer failed = fail(listing_->failure());
  if (listing_->status().code != sftp::kNoSuchFile && !is_no_directory_) return failed;
  return refusal("no such file or directory", failed.explanation);
}

Answer List::fail(const std::string& reason) const {
  return failure("the listing of " + quoted(selection_.path.empty() ? path_ : selection_.path) +
                 " failed: " + reason);
}

Answer List::give_names() {
  names_->sort();
  Answer answer = answer_names(selection_, names_);
  if (!selection_.path.empty() && selection_.path != session_->directory) return answer;
  session_->listed = std::move(names_);
  session_->listed_directory = session_->directory;
  session_->listed_pattern = selection_.pattern;
  return answer;
}

}  // namespace fileref::runtime::direct
