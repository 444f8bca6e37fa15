#include "runtime/launch/dialogue/list_operation.h"

#include "runtime/launch/answers.h"

namespace fileref::runtime {

Answer ListOperation::answer(std::shared_ptr<DirectoryListing> listing) {
  listing->sort();
  Answer answer = answer_names(selection_, listing);
  if (answer.status != kSuccess) return fail(answer.explanation);
  if (selection_.prefix.empty()) {
    session_->listed = std::move(listing);
    session_->listed_directory = session_->directory;
    session_->looks_saved = 0;
  }
  return answer;
}

Answer ListOperation::fail(const std::string& reason) const {
  const std::string& what = selection_.prefix.empty() ? session_->directory : selection_.path;
  return failure("the listing of " + quoted(what) + " failed: " + reason);
}

// The end of the client's output would pass for the end of the names.
Answer ListOperation::lost(Answer failure, std::string_view) {
  if (failure.status == kEndOfOutput) failure.status = kProcessFailed;
  failure.explanation = fail(failure.explanation).explanation;
  return failure;
}

}  // namespace fileref::runtime
