#include "runtime/launch/file_status.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "runtime/launch/answers.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kUnknown = "?";

template <class Number>
std::string shown(const std::optional<Number>& number) {
  return number ? std::to_string(*number) : std::string(kUnknown);
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The next word, up to a blank or the end of the line.
std::string_view take_word(std::string_view* text) {
  const std::string_view word = text->substr(0, text->find_first_of(" \n"));
  text->remove_prefix(std::min(text->size(), word.size() + 1));
  return word;
}

template <class Number>
std::optional<Number> take_number(std::string_view* text) {
  const std::string_view word = take_word(text);
  Number number{};
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
  return number;
}

}  // namespace

Answer answer_status(const FileStatus& status) {
  std::string text = status.type + shown(status.is_link);
  text += ' ' + shown(status.size) + ' ' + shown(status.mode) + ' ' + shown(status.modified);
  return {kSuccess, text + '\n' + std::string(kPrompt)};
}

Answer answer_missing(std::string explanation) {
  return refusal("no such file or directory", std::move(explanation));
}

std::optional<FileStatus> read_status(std::string_view answer) {
  const std::string_view kinds = take_word(&answer);
  const bool is_status = kinds.size() == 2 && (kinds[1] == '?' || is_digit(kinds[1]));
  if (!is_status) return std::nullopt;
  FileStatus status{kinds[0]};
  if (kinds[1] != '?') status.is_link = kinds[1] == '1';
  status.size = take_number<std::uint64_t>(&answer);
  status.mode = take_number<std::uint32_t>(&answer);
  status.modified = take_number<std::uint32_t>(&answer);
  return status;
}

}  // namespace fileref::runtime
