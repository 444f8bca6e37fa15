#include "runtime/tokens.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include "host/codes.h"
#include "runtime/launch/command_line.h"
#include "runtime/names.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kDelimiters = " \t\r\n\v\f='\"";
constexpr std::string_view kBlot = "********";

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
      if (end == std::string_view::npos) {
        unclosed_ = i;
        return;
      }
      add(kTokenQuoted, i, ++end);
    } else {
      end = std::min(text.find_first_of(kDelimiters, i), text.size());
      add(type_of(text.substr(i, end - i)), i, end);
    }
    i = end;
  }
}

void OptionSource::add(short type, std::size_t from, std::size_t to) {
  Token token{};
  token.type = type;
  token.offset = from;
  token.text = text_.substr(from, to - from);
  token.normal = type == kTokenName ? upper_ascii(token.text) : token.text;
  tokens_.push_back(std::move(token));
}

void OptionSource::blot_unread_secrets() {
  for (std::size_t i = 0; i + 2 < tokens_.size(); ++i) {
    tokens_[i + 2].blotted |= tokens_[i].normal == "OPTIONSX" && tokens_[i + 1].text == "=";
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
    if (unclosed_ != kNowhere || value_missing) return kTokenFailure;
  }
  Token& token = index < tokens_.size() ? tokens_[index] : end_;
  if (token.normal.size() > std::numeric_limits<short>::max()) return kTokenFailure;
  cursor = {token.type, 0, token.normal.data(), static_cast<short>(token.normal.size()), 0, &token};
  return kSuccess;
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
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if ((tokens_[i].error & 1) != 0) marked = i;
  }
  Display shown{{}, 0, 0};
  std::size_t copied = 0;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    const Token& token = tokens_[i];
    shown.text.append(text_, copied, token.offset - copied);
    if (i == marked) shown.offset = shown.text.size();
    const std::string_view piece = token.blotted ? kBlot : std::string_view(token.text);
    shown.text.append(piece);
    if (i == marked) shown.length = piece.size();
    copied = token.offset + token.text.size();
  }
  if (marked >= tokens_.size()) {
    shown.offset = shown.text.size() + (unclosed_ == kNowhere ? 0 : unclosed_ - copied);
  }
  const bool secret_open = unclosed_ != kNowhere && tokens_.size() >= 2 &&
                           tokens_[tokens_.size() - 2].normal == "OPTIONSX";
  if (secret_open) {
    shown.text.append(text_, copied, unclosed_ - copied).append(kBlot);
  } else {
    shown.text.append(text_, copied);
  }
  return shown;
}

}  // namespace fileref::runtime
