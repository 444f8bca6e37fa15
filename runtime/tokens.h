// The option tokenizer: option text as tokens that know their place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/tokens.h"
#include "host/types.h"

namespace fileref::runtime {

// One option text, and how far it has been read. A token is a quoted string (apostrophes or double
// quotes, doubled to mean themselves), an equals sign, or a run of other bytes: a name when it
// begins with a letter or underscore, a number when it is digits with an optional sign. Blanks,
// tabs and line ends separate.
class OptionSource {
 public:
  explicit OptionSource(std::string_view text);
  OptionSource(const OptionSource&) = delete;
  OptionSource& operator=(const OptionSource&) = delete;

  bool at_end() const { return position_ >= tokens_.size() && unclosed_ == kNowhere; }
  // The owner's step: `count` tokens are done with.
  void consume(int count) { position_ += static_cast<std::size_t>(count); }

  // Moves the cursor to the token after the one it holds; a fresh cursor starts where the source
  // stands. At the end an empty token of type kTokenOther. kTokenFailure where a quote is not
  // closed, and where a value is missing behind an equals sign.
  wrcode next(XXTOKEN& cursor);

  // Takes the token's text out of `display`.
  void blot(const TOKEN* token);
  // What a quoted token stands for, and what any other says.
  std::string value_of(const TOKEN* token) const;

  // Why the value of a keyword cannot stand on a client's command line; marks its token in error.
  // Empty when all can.
  std::string find_unfit_value();

  // The text as it may be shown: what was blotted, and the value of an OPTIONSX that nobody has
  // read yet, replaced by asterisks.
  struct Display {
    std::string text;
    std::size_t offset;  // of the marked place, in bytes
    std::size_t length;  // 0: behind the end
  };
  // Marks the token in error; where none is, the one that `scanned` further tokens lead to.
  Display display(int scanned) const;

 private:
  struct Token : TOKEN {
    short type;
    std::string normal;
    std::string text;
    std::size_t offset;
    bool blotted;
  };
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  void split(std::string_view text);
  void add(short type, std::size_t from, std::size_t to);
  void blot_unread_secrets();
  std::size_t index_of(const TOKEN* token) const;

  std::string text_;
  std::vector<Token> tokens_;  // never changes after construction: records are pointed to
  Token end_{};
  std::size_t position_ = 0;
  std::size_t unclosed_ = kNowhere;  // offset of a quote that is not closed
};

}  // namespace fileref::runtime
