// Keeps data whose upload failed, or was cut short by the end of its process.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fileref::runtime {

// Moves the file `local` into `directory`, which is made when it is missing, under a name that
// begins with `name` and is new there; it and what it is made in are for their owner alone. An
// empty directory stands for $XDG_STATE_HOME/fileref/unsent or ~/.local/state/fileref/unsent. Where
// that cannot be written the file stays in its own directory, under a name that `is_kept` knows.
// Returns the new path; empty when the file could not even be renamed.
std::string keep_unsent(const std::string& local, const std::string& directory,
                        const std::string& name);

// Whether a file of this name in a directory for temporary files is data that was kept there.
bool is_kept(std::string_view file_name);

// The mark of a file that is whole and not known to have arrived. It stands beside the file, and
// tells the name to keep it under, should its process end before the upload does. Its place is
// taken before anything is written, so that a full disk cannot leave whole data without a mark.
bool reserve_mark(const std::string& local);  // false, with errno: there is no place
void mark_unsent(const std::string& local, const std::string& name);
void unmark_unsent(const std::string& local);

// Keeps what is marked in `temporary`, a directory that an ended process left, as `keep_unsent`
// does. Returns where it is now.
std::vector<std::string> keep_marked(const std::string& temporary, const std::string& directory);

}  // namespace fileref::runtime
