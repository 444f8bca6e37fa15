#include "runtime/launch/answers.h"

#include "runtime/launch/line_buffer.h"

namespace fileref::runtime {

Answer done() {
  return {kSuccess, std::string(kPrompt)};
}

Answer refusal(std::string_view phrase, std::string explanation) {
  return {kSuccess, std::string(phrase) + '\n' + std::string(kPrompt), std::move(explanation),
          true};
}

Answer failure(std::string explanation) {
  return {kProcessFailed, {}, std::move(explanation)};
}

std::string quoted(const std::string& name) {
  return '"' + name + '"';
}

std::string_view find_line(std::string_view text,
                           std::initializer_list<std::string_view> openings) {
  while (!text.empty()) {
    std::string_view line = take_line(&text);
    if (line.ends_with('\r')) line.remove_suffix(1);
    for (const std::string_view opening : openings) {
      if (line.starts_with(opening)) return line;
    }
  }
  return {};
}

bool has_line(std::string_view text, std::initializer_list<std::string_view> openings) {
  return !find_line(text, openings).empty();
}

}  // namespace fileref::runtime
