// Takes secrets out of what is shown.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fileref::runtime {

class Blot {
 public:
  // A text of words for a command line. Clients repeat words of it, and what stands in a word
  // behind an equals sign or the letter of an option; of each, four bytes or more are secret.
  void add(std::string_view secret);

  // `text` with asterisks for every secret in it, in capital letters or small.
  std::string operator()(std::string_view text) const;

 private:
  void add_piece(std::string_view piece);

  std::vector<std::string> pieces_;  // the longest first
};

}  // namespace fileref::runtime
