// Keeps data whose upload failed.
#pragma once

#include <string>

namespace fileref::runtime {

// Moves the file `local` into `directory`, which is made when it is missing, under a name that
// begins with `name` and is new there. An empty directory stands for $XDG_STATE_HOME/fileref/unsent
// or ~/.local/state/fileref/unsent. Returns the new path; empty when the file could not be moved,
// which then stays where it is.
std::string keep_unsent(const std::string& local, const std::string& directory,
                        const std::string& name);

}  // namespace fileref::runtime
