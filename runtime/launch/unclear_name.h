// What the OpenSSH client cannot show of a name it prints as a backslash and three octal digits,
// and a backslash as it is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fileref::runtime {

// How many bytes of `shown` may be hidden behind digits. With any, the name is unclear.
std::size_t hidden_bytes(std::string_view shown);

// What a name that is shown as `shown` may be: every backslash with three digits is the byte or is
// itself.
class UnclearName {
 public:
  explicit UnclearName(std::string_view shown);

  struct Candidate {
    std::string name;
    std::string shown;  // the name between quotes, quoted for `ls`, as the client would echo it
  };

  // The likeliest first; nothing when there are no more.
  std::optional<Candidate> next();

 private:
  // Whether the candidate that is tried next has this place as it is shown.
  bool is_literal(std::size_t place) const;

  std::vector<std::string> literal_;  // the text between the places
  std::vector<std::string> digits_;   // of each place
  std::size_t tried_ = 0;
};

}  // namespace fileref::runtime
