// What kind of failure it was, for programs, from what is known of it for people.
#pragma once

#include <string_view>

#include "fileref/failure.h"

namespace fileref {

Failure::Reason reason_of(std::string_view message, std::string_view explanation,
                          std::string_view client_words);

}  // namespace fileref
