// Options as they were written, where the library itself has to know of one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/failure.h"

namespace fileref {

struct GivenOption {
  std::string value;  // without its quotes; empty when there is none
  Failure::OptionPlace place;
};

// The last option of that name, in upper case, in `texts`.
std::optional<GivenOption> given_option(const std::vector<std::string>& texts,
                                        std::string_view keyword);
// One of several options, whichever is found first.
std::optional<GivenOption> given_option_of(const std::vector<std::string>& texts,
                                           const std::vector<std::string_view>& keywords);

}  // namespace fileref
