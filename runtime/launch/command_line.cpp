#include "runtime/launch/command_line.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kBlanks = " \t\n";
constexpr std::string_view kEscapableInDoubleQuotes = "\"\\$`";

class Splitter {
 public:
  explicit Splitter(std::string_view line) : rest_(line) {}

  bool split(std::vector<std::string>* words, std::string* why) {
    for (skip_blanks(); !rest_.empty(); skip_blanks()) {
      std::string word;
      if (!take_word(&word, why)) return false;
      words->push_back(std::move(word));
    }
    return true;
  }

 private:
  void skip_blanks() {
    while (!rest_.empty() && kBlanks.find(rest_.front()) != kBlanks.npos) rest_.remove_prefix(1);
  }

  bool take_word(std::string* word, std::string* why) {
    while (!rest_.empty() && kBlanks.find(rest_.front()) == kBlanks.npos) {
      const char c = take();
      if (c == '\'' || c == '"') {
        if (!take_quoted(c, word)) {
          *why = std::string("the command line has a ") + c + " that is not closed";
          return false;
        }
      } else if (c != '\\') {
        word->push_back(c);
      } else if (!rest_.empty()) {
        word->push_back(take());
      } else {
        *why = "the command line ends in a backslash";
        return false;
      }
    }
    return true;
  }

  bool take_quoted(char quote, std::string* word) {
    while (!rest_.empty()) {
      const char c = take();
      if (c == quote) return true;
      const bool escape = quote == '"' && c == '\\' && !rest_.empty() &&
                          kEscapableInDoubleQuotes.find(rest_.front()) != std::string_view::npos;
      word->push_back(escape ? take() : c);
    }
    return false;
  }

  char take() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  std::string_view rest_;
};

}  // namespace

std::optional<std::vector<std::string>> split_words(std::string_view line, std::string* why) {
  if (line.find('\0') != line.npos) {
    *why = "the command line holds a NUL byte";
    return std::nullopt;
  }
  std::vector<std::string> words;
  if (!Splitter(line).split(&words, why)) return std::nullopt;
  return words;
}

}  // namespace fileref::runtime
