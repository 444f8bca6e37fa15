#include "runtime/tokens.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <limits>
#include <utility>

#include "host/codes.h"
#include "runtime/launch/command_line.h"
#include "runtime/name_escape.h"
#include "runtime/names.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kDelimiters = " \t\r\n\v\f='\"";
constexpr std::string_view kBlot = "********";
constexpr std::string_view kSecret = "OPTIONSX";

// Options whose value is a text, which the method takes in quotes only.
constexpr std::string_view kTextOptions[] = {"LSFILE", "CD", "BATCHFILE", "PATH"};

short type_of(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (std::isalpha(first) || first == '_' || first >= 0x80) return kTokenName;
  const std::string_view digits = text.substr(first == '+' || first == '-' ? 1 : 0);
  const bool number = !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
  });
  return number ? kTokenNumber : kTokenOther;
}

}  // namespace

OptionSource::OptionSource(std::string_view text) : text_(text) {
  split(text_);
  blot_unread_secrets();
  for (Token& token : tokens_) token.original = token.text.data();
  end_.original = end_.text.data();
}

void OptionSource::split(std::string_view text) {
  std::size_t i = 0;
  while ((i = text.find_first_not_of(kBlanks, i)) != std::string_view::npos) {
    const char c = text[i];
    std::size_t end = i + 1;
    if (c == '=') {
      add(kTokenOther, i, end);
    } else if (c == '\'' || c == '"') {
      while ((end = text.find(c, end)) != std::string_view::npos && end + 1 < text.size() &&
             text[end + 1] == c) {
        end += 2;
      }
      closes_in_word_ = end != std::string_view::npos && end + 1 < text.size() &&
                        text[end + 1] != '=' &&
                        kBlanks.find(text[end + 1]) == std::string_view::npos;
      if (end == std::string_view::npos || closes_in_word_) {
        unclosed_ = i;
        return;
      }
      add(kTokenQuoted, i, ++end);
    } else {
      end = std::min(text.find_first_of(kDelimiters, i), text.size());
      add(begins_text_value() ? kTokenQuoted : type_of(text.substr(i, end - i)), i, end);
    }
    i = end;
  }
}

bool OptionSource::begins_text_value() const {
  const std::size_t count = tokens_.size();
  return count >= 2 && tokens_[count - 1].text == "=" &&
         std::find(std::begin(kTextOptions), std::end(kTextOptions), tokens_[count - 2].normal) !=
             std::end(kTextOptions);
}

void OptionSource::add(short type, std::size_t from, std::size_t to) {
  Token token{};
  token.type = type;
  token.offset = from;
  token.text = text_.substr(from, to - from);
  token.normal = type == kTokenName ? upper_ascii(token.text) : token.text;
  if (type == kTokenQuoted) {
    const bool has_quotes = token.text.front() == '\'' || token.text.front() == '"';
    token.normal = protect_marks(has_quotes ? token.text : "'" + token.text + "'");
  }
  tokens_.push_back(std::move(token));
}

void OptionSource::blot_unread_secrets() {
  for (std::size_t i = 0; i < tokens_.size() && secret_ == kNowhere; ++i) {
    if (tokens_[i].normal != kSecret) continue;
    const bool has_equals = i + 1 < tokens_.size() && tokens_[i + 1].text == "=";
    const std::size_t value = i + (has_equals ? 2 : 1);
    const bool ended = value < tokens_.size() && tokens_[value].type == kTokenQuoted;
    const std::size_t behind = tokens_[value - 1].offset + tokens_[value - 1].text.size();
    // A value that is not quoted rightly may go on to the end.
    if (!ended || unclosed_ != kNowhere) {
      secret_ = std::min(text_.find_first_not_of(kBlanks, behind), text_.size());
    } else {
      tokens_[value].blotted = true;
    }
  }
}

std::size_t OptionSource::index_of(const TOKEN* token) const {
  if (token == &end_) return tokens_.size();
  return static_cast<std::size_t>(static_cast<const Token*>(token) - tokens_.data());
}

wrcode OptionSource::next(XXTOKEN& cursor) {
  const std::size_t index = cursor.atoken == nullptr ? position_ : index_of(cursor.atoken) + 1;
  if (index >= tokens_.size()) {
    const bool value_missing = index > 0 && index == tokens_.size() && tokens_.back().text == "=";
    if (closes_in_word_) {
      return fail_at(index, "A quote closes inside a word. Write a quote in a text twice.");
    }
    if (unclosed_ != kNowhere) return fail_at(index, "A quote is not closed.");
    if (value_missing) return fail_at(index, "A value is missing behind the equals sign.");
  }
  Token& token = index < tokens_.size() ? tokens_[index] : end_;
  if (token.normal.size() > std::numeric_limits<short>::max()) {
    return fail_at(index, "A value is too long: it may have 32767 bytes, quotes included.");
  }
  cursor = {token.type, 0, token.normal.data(), static_cast<short>(token.normal.size()), 0, &token};
  return kSuccess;
}

wrcode OptionSource::fail_at(std::size_t index, std::string why) {
  failed_ = index;
  failure_ = std::move(why);
  return kTokenFailure;
}

std::string_view OptionSource::ahead(int count) const {
  const std::size_t index = position_ + static_cast<std::size_t>(count);
  return index < tokens_.size() ? std::string_view(tokens_[index].normal) : std::string_view();
}

void OptionSource::blot(const TOKEN* token) {
  const std::size_t index = index_of(token);
  if (index < tokens_.size()) tokens_[index].blotted = true;
}

std::string OptionSource::value_of(const TOKEN* token) const {
  const std::size_t index = index_of(token);
  if (index >= tokens_.size()) return {};
  const Token& found = tokens_[index];
  if (found.type != kTokenQuoted) return found.text;
  std::string value;
  const char quote = found.text.front();
  for (std::size_t i = 1; i + 1 < found.text.size(); ++i) {
    value += found.text[i];
    if (found.text[i] == quote) ++i;
  }
  return value;
}

std::string OptionSource::find_unfit_value() {
  for (std::size_t i = 0; i + 2 < tokens_.size(); ++i) {
    if (tokens_[i + 1].text != "=") continue;
    std::string why = why_unfit(tokens_[i].normal, value_of(&tokens_[i + 2]));
    if (why.empty()) continue;
    tokens_[i + 2].error |= 1;
    return why;
  }
  return {};
}

OptionSource::Display OptionSource::display(int scanned) const {
  std::size_t marked = position_ + static_cast<std::size_t>(std::max(scanned, 0));
  if (failed_ != kNowhere) marked = failed_;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if ((tokens_[i].error & 1) != 0) marked = i;
  }
  Display shown{{}, 0, 0};
  std::size_t copied = 0;
  for (std::size_t i = 0; i < tokens_.size() && tokens_[i].offset < secret_; ++i) {
    const Token& token = tokens_[i];
    shown.text.append(text_, copied, token.offset - copied);
    if (i == marked) shown.offset = shown.text.size();
    const std::string_view piece = token.blotted ? kBlot : std::string_view(token.text);
    shown.text.append(piece);
    if (i == marked) shown.length = piece.size();
    copied = token.offset + token.text.size();
  }
  const std::size_t open = std::min({unclosed_, secret_, text_.size()});
  const bool marks_rest = marked >= tokens_.size() || tokens_[marked].offset >= secret_;
  shown.text.append(text_, copied, open - copied);
  if (marks_rest) shown.offset = shown.text.size();
  if (secret_ < text_.size()) {
    shown.text.append(kBlot);
  } else {
    shown.text.append(text_, open);
  }
  if (marks_rest) shown.length = shown.text.size() - shown.offset;
  return shown;
}

}  // namespace fileref::runtime
