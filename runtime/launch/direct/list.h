// The answer to a listing command.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/direct/operation.h"
#include "runtime/launch/selection.h"
#include "runtime/sftp/listing.h"

namespace fileref::runtime::direct {

// Lists a directory, or names a file; which of them a path stands for is asked at the same time.
class List : public Operation {
 public:
  List(Session* session, Selection selection)
      : session_(session), selection_(std::move(selection)) {}
  void begin(sftp::Connection& connection) override;
  void drop() override;
  std::optional<Answer> answer() override;

 private:
  bool may_be_a_file() const { return !selection_.path.empty() && selection_.pattern.empty(); }
  bool doubts_emptiness();
  bool doubts_directory();
  Answer judge_failure() const;
  Answer fail(const std::string& reason) const;
  Answer give_names();

  Session* session_;
  Selection selection_;
  std::string path_;
  std::shared_ptr<DirectoryListing> names_;
  std::unique_ptr<sftp::Listing> listing_;
  std::unique_ptr<sftp::Asker> asker_;
  bool awaits_kind_ = false;
  bool doubts_ = false, awaits_entry_ = false;  // whether the directory may be entered
  bool is_no_directory_ = false;
  sftp::Status entry_;
  sftp::Kind kind_ = sftp::Kind::kUnknown;
};

}  // namespace fileref::runtime::direct
