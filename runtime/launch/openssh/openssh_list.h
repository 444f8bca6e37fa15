// The listing commands, carried out with the OpenSSH client.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/dialogue/list_operation.h"
#include "runtime/launch/openssh/unclear_name.h"

namespace fileref::runtime::openssh {

class List : public ListOperation {
 public:
  List(const Dialect& dialect, Session* session, Selection selection)
      : ListOperation(session, std::move(selection)), dialect_(dialect) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  enum class State { kList, kExplain, kEnter, kAskName, kAskBeginning };

  Step judge(const Reply& reply);
  Step judge_missing(const Reply& reply);
  Step judge_explained(const Reply& reply);
  Step judge_silence(const Reply& reply);
  Answer fail_unreadable(std::string_view complaint) const;
  Answer fail_silent(const Reply& reply) const;
  std::size_t depth() const;
  bool names_one_file(std::string_view lines) const;
  Step next_name();
  Step ask_name();
  Step judge_name(const Reply& reply);
  Step judge_beginning(const Reply& reply);
  std::string_view unclear_name() const;
  std::string line_for(const UnclearName::Candidate& candidate) const;

  const Dialect& dialect_;
  State state_ = State::kList;
  std::unique_ptr<DirectoryListing> listing_;
  // While unclear names are asked for:
  std::size_t asked_ = 0;  // of the unclear ones
  std::optional<UnclearName> unclear_;
  UnclearName::Candidate candidate_ = {};
  std::set<std::string> found_;
};

}  // namespace fileref::runtime::openssh
