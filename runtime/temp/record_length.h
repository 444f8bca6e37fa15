// What is said of a record that exceeds the record length.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace fileref::runtime {

// `record` names it: "Record 3".
inline std::string too_long_text(std::string_view record, std::size_t record_length) {
  return fmt::format(
      "{} is longer than the record length of {} bytes. Raise it with LRECL=, or take the "
      "data as bytes with RECFM=S.",
      record, record_length);
}

}  // namespace fileref::runtime
