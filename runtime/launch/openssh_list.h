// The listing commands.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "runtime/launch/directory_listing.h"
#include "runtime/launch/openssh.h"
#include "runtime/launch/operation.h"

namespace fileref::runtime::openssh {

// What a listing command asks for.
struct Selection {
  std::string path;          // to ask the client about; empty: the current directory
  std::string prefix;        // what stands before the names in that directory
  std::string pattern = {};  // that they must match; empty: all
  bool dot_names = false;
};

// `text` is a directory, a file or a pattern; empty for the current directory. Returns nothing and
// says why when it cannot be asked for.
std::optional<Selection> select(std::string_view text, std::string* why);

// The client's line for the directory, file or names at `path`, with sizes and kinds.
std::string list_line(std::string_view path);

// Answers with a name a line, in the client's order and escaped. Before them come an echo and the
// dot entries, so that no reader can take a name for either.
class List : public Operation {
 public:
  List(Session* session, Selection selection)
      : session_(session), selection_(std::move(selection)) {}
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kList, kEnter, kAskName };

  Step judge(const Reply& reply);
  Step judge_silence(const Reply& reply);
  bool names_one_file(std::string_view lines) const;
  Step next_name();
  Step ask_name();
  Step judge_name(const Reply& reply);
  Answer answer_names();
  Answer fail(const std::string& reason) const;

  Session* session_;
  Selection selection_;
  State state_ = State::kList;
  std::unique_ptr<DirectoryListing> listing_;
  // While unclear names are asked for:
  std::size_t asked_ = 0;  // of the unclear ones
  std::optional<UnclearName> unclear_;
  UnclearName::Candidate candidate_;
  std::set<std::string> found_;
};

}  // namespace fileref::runtime::openssh
