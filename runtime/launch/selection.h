// What a listing command asks for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/directory_listing.h"

namespace fileref::runtime {

struct Selection {
  std::string path = {};     // to ask the client about; empty: the current directory
  std::string prefix = {};   // what stands before the names in that directory; empty: the same
  std::string pattern = {};  // that they must match; empty: all
  bool dot_names = false;
};

// `text` is a directory, a file or a pattern; empty for the current directory. Returns nothing and
// says why when it cannot be asked for.
std::optional<Selection> select(std::string_view text, std::string* why);

// The selected names of a directory, a name a line and escaped. Before them come an echo and the
// dot entries, so that no reader can take a name for either. Fails when a name is longer than the
// module can hold.
// The listing must stay as it is, but for types, until the text was read.
Answer answer_names(Selection selection, std::shared_ptr<const DirectoryListing> listing);
// The same when the selected path is no directory.
Answer answer_file(const Selection& selection);
// The names in the text of such an answer; none in that of another.
std::vector<std::string> names_in(std::string_view answer);

}  // namespace fileref::runtime
