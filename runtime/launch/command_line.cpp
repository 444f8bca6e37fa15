#include "runtime/launch/command_line.h"

#include <algorithm>

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

struct Rule {
  std::string_view keyword;
  std::string_view forbidden;  // besides control bytes
  bool may_begin_with_dash;
};
constexpr Rule kRules[] = {
    {"HOST", " '\"\\`$;&<>|(){}@/", false},
    {"HOSTNAME", " '\"\\`$;&<>|(){}@/", false},
    {"USER", " '\"\\`;&<>|(){}:/", false},
    {"PATH", " '\"\\", false},
    {"BATCHFILE", "\"\\", true},
};

bool is_control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

std::string name_of(char c) {
  if (is_control(c)) return "a control byte";
  return c == ' ' ? "a blank" : std::string("the character ") + c;
}

// Outside brackets a colon begins a remote path, and a percent sign stands for something else.
bool is_address(std::string_view host) {
  if (host.find_first_of(":[]%") == host.npos) return true;
  if (host.size() < 3 || !host.starts_with('[') || !host.ends_with(']')) return false;
  return host.substr(1, host.size() - 2).find_first_of("[]") == host.npos;
}

constexpr std::string_view kOwnDescriptors[] = {"/dev/stdin", "/dev/fd/", "/proc/self/"};

bool is_own_input(std::string_view file) {
  return file == "-" || std::any_of(std::begin(kOwnDescriptors), std::end(kOwnDescriptors),
                                    [&](std::string_view path) { return file.starts_with(path); });
}

std::string in_quotes(const std::string& word) {
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + '\'';
}

}  // namespace

std::string joined_words(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    const bool is_plain = !word.empty() && word.find_first_of(" \t\n'\"\\") == word.npos;
    line += (line.empty() ? "" : " ") + (is_plain ? word : in_quotes(word));
  }
  return line;
}

std::string why_unfit(std::string_view keyword, std::string_view value) {
  const auto* rule = std::find_if(std::begin(kRules), std::end(kRules),
                                  [&](const Rule& r) { return r.keyword == keyword; });
  if (rule == std::end(kRules)) return {};
  const std::string subject = std::string(keyword) + " cannot ";
  const auto bad = std::find_if(value.begin(), value.end(), [&](char c) {
    return is_control(c) || rule->forbidden.find(c) != rule->forbidden.npos;
  });
  if (bad != value.end()) return subject + "hold " + name_of(*bad);
  if (!rule->may_begin_with_dash && (value.starts_with('-') || value.starts_with("[-"))) {
    return subject + "begin with \"-\": the client would take it for an option";
  }
  if (keyword.starts_with("HOST") && !is_address(value)) {
    return subject + "hold a colon or a %, but for an address in brackets: HOST='[::1]'";
  }
  if (keyword == "BATCHFILE" && is_own_input(value)) {
    return subject + "be standard input or another open file: name a file";
  }
  return {};
}

std::string why_unfit_login(std::string_view login) {
  const std::size_t at = login.rfind('@');
  if (at == login.npos) return why_unfit("HOST", login);
  const std::string why = why_unfit("USER", login.substr(0, at));
  return why.empty() ? why_unfit("HOST", login.substr(at + 1)) : why;
}

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
