#include "cli/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cli/progress_line.h"
#include "fileref/printable.h"

namespace cli {
namespace {

constexpr const char* kBlot = "********";
constexpr const char* kSecretOption = "OPTIONSX";

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string underlined(const fileref::Failure::OptionPlace& place) {
  const std::string before = fileref::printable(place.text.substr(0, place.offset));
  const std::string marked = fileref::printable(place.text.substr(place.offset, place.length));
  return fmt::format("  {}\n  {}{}\n", fileref::printable(place.text),
                     std::string(columns(before), ' '),
                     std::string(std::max<std::size_t>(columns(marked), 1), '^'));
}

// Where the password begins in the USER:PASSWORD@... at `from`. Nowhere: the end of the text.
std::size_t password_behind(const std::string& text, std::size_t from) {
  std::size_t end = text.find_first_of(":/@ %", from);
  while (end != text.npos && text[end] == '%' && strncasecmp(&text[end], "%3A", 3) != 0) {
    end = text.find_first_of(":/@ %", end + 1);
  }
  if (end == text.npos || (text[end] != ':' && text[end] != '%')) return text.size();
  return end + (text[end] == ':' ? 1 : 3);
}

// In the first quoted text, which may begin with a scheme.
std::string without_password(const std::string& text) {
  const std::size_t start = text.find('"') + 1;
  const std::size_t end = text.find('"', start);
  const std::size_t scheme = text.find("//", start);
  const std::size_t from = scheme < end ? scheme + 2 : start;
  const std::size_t secret = password_behind(text, from);
  const std::size_t at = text.rfind('@', end);
  const std::size_t behind_digits = text.find_first_not_of("0123456789", secret);
  const bool is_port = behind_digits != text.npos && behind_digits > secret &&
                       (text[behind_digits] == '/' || text[behind_digits] == '"');
  const bool is_local = text.compare(from, 6, "local:") == 0;
  if (at == text.npos || at < secret || is_port || is_local) return text;
  return text.substr(0, secret) + kBlot + text.substr(at);
}

}  // namespace

void complain(std::string_view text) {
  tell("fileref: " + fileref::printable(text) + "\n");
}

void tell(const std::string& text) noexcept {
  clear_progress();
  std::fputs(text.c_str(), stderr);
}

std::string without_secrets(const std::string& text) {
  std::string shown = without_password(text);
  const char* option = strcasestr(shown.c_str(), kSecretOption);
  if (option == nullptr) return shown;
  shown.resize(static_cast<std::size_t>(option - shown.c_str()) + std::strlen(kSecretOption));
  return shown + "=" + kBlot;
}

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    lines.push_back(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(text.size(), lines.back().size() + 1));
  }
  return lines;
}

std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !is_continuation(c); }));
}

std::string first_columns(const std::string& text, std::size_t count) {
  const auto end = std::find_if(text.begin(), text.end(),
                                [&count](char c) { return !is_continuation(c) && count-- == 0; });
  return {text.begin(), end};
}

std::string describe(const std::string& what_failed, const std::exception& error) {
  const auto* failure = dynamic_cast<const fileref::Failure*>(&error);
  if (failure != nullptr) return describe(what_failed, *failure);
  return fmt::format("fileref: {}\n  {}\n", fileref::printable(what_failed),
                     fileref::printable(error.what()));
}

std::string describe(const std::string& what_failed, const fileref::Failure& failure) {
  std::string block = fmt::format("fileref: {}\n", fileref::printable(what_failed));
  block += fmt::format("  {}\n", fileref::printable(failure.message()));
  if (!failure.explanation().empty()) {
    block += fmt::format("  {}\n", fileref::printable(failure.explanation()));
  }
  if (!failure.option_place().text.empty()) block += underlined(failure.option_place());
  block += fmt::format("  code {:#010x}\n", static_cast<unsigned>(failure.code()));
  if (!failure.client_words().empty()) {
    block += "  the client said:\n";
    for (std::string_view line : lines_of(failure.client_words())) {
      line = line.substr(0, line.find_last_not_of("\r ") + 1);
      line.remove_prefix(std::min(line.size(), line.find_first_not_of('\r')));
      if (!line.empty()) block += fmt::format("    {}\n", fileref::printable(line));
    }
  }
  return block;
}

}  // namespace cli
