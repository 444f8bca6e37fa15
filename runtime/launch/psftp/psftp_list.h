// The listing commands, carried out with psftp.
//
// A listing tells the names only if nothing was deleted from them. So the client is asked which
// names hold more than printable ASCII; and for each length in which one of those is shown, for the
// names that have that length. A name that is shown in its full length is shown as it is. With any
// other the listing fails.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/dialogue/list_operation.h"
#include "runtime/launch/psftp/psftp.h"

namespace fileref::runtime::psftp {

class List : public ListOperation {
 public:
  List(Session* session, Selection selection) : ListOperation(session, std::move(selection)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  enum class State { kList, kFile, kRoot, kUnusual, kOfLength };

  Step judge(const Reply& reply);
  Step judge_file(const Reply& reply);
  Step judge_root(const Reply& reply);
  Step judge_unusual(const Reply& reply);
  Step judge_length(const Reply& reply);
  Step ask(State state, const std::optional<std::string>& line);
  Step next_length();
  Answer answer_lines();
  Answer fail_unreadable(const std::optional<Listed>& listed) const;
  Answer fail_hidden(std::string_view shown) const;

  State state_ = State::kList;
  std::string lines_;                                         // of the directory
  std::map<std::size_t, std::set<std::string>> unconfirmed_;  // unusual names, by their length
};

}  // namespace fileref::runtime::psftp
