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
// tabs and line ends separate. The value of an option whose value is a text (CD=/tmp) is handed out
// as a quoted string, with or without its quotes in the text.
class OptionSource {
 public:
  explicit OptionSource(std::string_view text);
  OptionSource(const OptionSource&) = delete;
  OptionSource& operator=(const OptionSource&) = delete;

  bool at_end() const { return position_ >= tokens_.size() && unclosed_ == kNowhere; }
  // The owner's step: `count` tokens are done with.
  void consume(int count) { position_ += static_cast<std::size_t>(count); }

  // Moves the cursor to the token after the one it holds; a fresh cursor starts where the source
  // stands. At the end an empty token of type kTokenOther. kTokenFailure, told by `failure`, where
  // a quote is not closed or closes inside a word, where a value is missing behind an equals sign,
  // and where a token is too long.
  wrcode next(XXTOKEN& cursor);
  const std::string& failure() const { return failure_; }
  // The normal form of the token `count` behind where the source stands; empty behind the last.
  std::string_view ahead(int count) const;

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
  // Marks the token in error, or where `next` failed; else the token that `scanned` further ones
  // lead to.
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
  bool begins_text_value() const;
  void blot_unread_secrets();
  wrcode fail_at(std::size_t index, std::string why);
  std::size_t index_of(const TOKEN* token) const;

  std::string text_;
  std::vector<Token> tokens_;  // never changes after construction: records are pointed to
  Token end_{};
  std::size_t position_ = 0;
  std::size_t unclosed_ =
      kNowhere;  // offset of a quote that is not closed, or not where a word ends
  bool closes_in_word_ = false;
  std::size_t secret_ = kNowhere;  // from here on everything may be part of a secret
  std::size_t failed_ = kNowhere;  // index of the token that could not be handed out
  std::string failure_;
};

}  // namespace fileref::runtime
