// What a client says when no session comes up, put in words for who has never seen it.
#pragma once

#include <string>
#include <string_view>

#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

bool says_host_is_unknown(std::string_view words);

// A sentence that says why no session came up and what to do about it, from what `sftp` or `psftp`
// said. Empty when nothing in it is known.
std::string explain_start_failure(std::string_view words);

// The answer when no session comes up, `words` being what the client said.
Answer explained_start_failure(Answer failure, std::string_view words);

}  // namespace fileref::runtime
