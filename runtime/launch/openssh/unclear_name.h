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

// Finds out what a name that is shown as `shown` is: every backslash with three digits is the byte
// or is itself.
class UnclearName {
 public:
  explicit UnclearName(std::string_view shown);

  struct Candidate {
    std::string name;   // or how it begins
    std::string shown;  // the same between quotes, quoted for `ls`, as the client would echo it
    bool is_whole;
  };

  // The likeliest names first, then beginnings and the names behind those that were confirmed;
  // nothing when there are no more.
  std::optional<Candidate> next();
  // There is a name that is shown so and begins like the last candidate.
  void confirm_beginning() { deeper_ = true; }

 private:
  bool next_choice();
  Candidate candidate(const std::vector<bool>& is_literal) const;

  std::vector<std::string> literal_;  // the text between the places
  std::vector<std::string> digits_;   // of each place
  std::size_t tried_ = 0;             // of the likeliest
  std::vector<bool> choice_;          // whether each of the first places is as it is shown
  bool deeper_ = true;                // look at the next place, too
};

}  // namespace fileref::runtime
