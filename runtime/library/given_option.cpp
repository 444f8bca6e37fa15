#include "runtime/library/given_option.h"

#include "host/codes.h"
#include "runtime/tokens.h"

namespace fileref {
namespace {

std::string_view text_of(const XXTOKEN& token) {
  return {token.token, static_cast<std::size_t>(token.tokenl)};
}

std::string without_quotes(const XXTOKEN& token) {
  const std::string_view text = text_of(token);
  if (token.type != kTokenQuoted) return std::string(text);
  std::string plain;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    plain += text[i];
    if (text[i] == text.front()) ++i;
  }
  return plain;
}

void look_through(const std::string& text, std::string_view keyword,
                  std::optional<GivenOption>* found) {
  runtime::OptionSource source(text);
  XXTOKEN token{};
  bool is_value = false;
  bool is_ours = false;
  for (int i = 0; source.next(token) == kSuccess && token.tokenl > 0; ++i) {
    const bool is_equals = text_of(token) == "=";
    if (is_value) {
      if (is_ours) (*found)->value = without_quotes(token);
    } else if (!is_equals) {
      is_ours = token.type == kTokenName && text_of(token) == keyword;
      const runtime::OptionSource::Display shown = source.display(i);
      if (is_ours) *found = {{}, {shown.text, shown.offset, shown.length}};
    }
    is_value = is_equals;
  }
}

}  // namespace

std::optional<GivenOption> given_option(const std::vector<std::string>& texts,
                                        std::string_view keyword) {
  std::optional<GivenOption> found;
  for (const std::string& text : texts) look_through(text, keyword, &found);
  return found;
}

std::optional<GivenOption> given_option_of(const std::vector<std::string>& texts,
                                           const std::vector<std::string_view>& keywords) {
  for (const std::string_view keyword : keywords) {
    if (std::optional<GivenOption> found = given_option(texts, keyword)) return found;
  }
  return std::nullopt;
}

}  // namespace fileref
