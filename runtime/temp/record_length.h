// What is said of a record that exceeds the record length.
#pragma once

#include <fmt/format.h>

#include <string>

namespace fileref::runtime {

// `record` counts from 1.
inline std::string too_long_text(long record, std::size_t record_length) {
  return fmt::format(
      "Record {} is longer than the record length of {} bytes. Raise it with LRECL=, or take the "
      "data as bytes with RECFM=S.",
      record, record_length);
}

}  // namespace fileref::runtime
