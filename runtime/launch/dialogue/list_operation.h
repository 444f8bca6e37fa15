// What every client's listing command has in common.
#pragma once

#include <memory>
#include <string>

#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/dialogue/session.h"
#include "runtime/launch/selection.h"

namespace fileref::runtime {

class ListOperation : public Operation {
 public:
  ListOperation(Session* session, Selection selection)
      : session_(session), selection_(std::move(selection)) {}
  Answer lost(Answer failure, std::string_view words) override;

 protected:
  const Selection& selection() const { return selection_; }

  // Answers with the selected names; the session keeps the listing of its current directory.
  Answer answer(std::shared_ptr<DirectoryListing> listing);
  Answer fail(const std::string& reason) const;

 private:
  Session* session_;
  Selection selection_;
};

}  // namespace fileref::runtime
