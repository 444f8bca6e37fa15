#include "cli/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>

namespace cli {
namespace {

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::size_t columns(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !is_continuation(c); }));
}

std::string underlined(const fileref::Failure::OptionPlace& place) {
  const std::string before = one_line(place.text.substr(0, place.offset));
  const std::string marked = one_line(place.text.substr(place.offset, place.length));
  return fmt::format("  {}\n  {}{}\n", one_line(place.text), std::string(columns(before), ' '),
                     std::string(std::max<std::size_t>(columns(marked), 1), '^'));
}

}  // namespace

std::string one_line(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      fmt::format_to(std::back_inserter(line), "\\x{:02x}", byte);
    } else {
      line += c;
    }
  }
  return line;
}

std::string first_columns(const std::string& text, std::size_t count) {
  const auto end = std::find_if(text.begin(), text.end(),
                                [&count](char c) { return !is_continuation(c) && count-- == 0; });
  return {text.begin(), end};
}

std::string describe(const std::string& what_failed, const fileref::Failure& failure) {
  std::string block = fmt::format("fileref: {}\n", what_failed);
  block += fmt::format("  {}\n", one_line(failure.message()));
  if (!failure.explanation().empty()) {
    block += fmt::format("  {}\n", one_line(failure.explanation()));
  }
  if (!failure.option_place().text.empty()) block += underlined(failure.option_place());
  block += fmt::format("  code {:#010x}\n", static_cast<unsigned>(failure.code()));
  if (!failure.client_words().empty()) {
    block += "  the client said:\n";
    std::istringstream words(failure.client_words());
    for (std::string line; std::getline(words, line);) {
      while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
      line.erase(0, line.find_first_not_of('\r'));
      if (!line.empty()) block += fmt::format("    {}\n", one_line(line));
    }
  }
  return block;
}

}  // namespace cli
