// Text from outside, in a form that can be shown.
#pragma once

#include <string>
#include <string_view>

namespace fileref::runtime {

// `text` on one line, where every byte that is not printable UTF-8 is written as \xNN: control
// characters, those that reorder text or separate lines, and bytes that are no character at all.
std::string printable(std::string_view text);

// The same for a name on standard output, where a "?" stands for each such character or byte.
std::string printable_name(std::string_view name);

}  // namespace fileref::runtime
