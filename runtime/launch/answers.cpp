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

bool has_line(std::string_view text, std::initializer_list<std::string_view> openings) {
  while (!text.empty()) {
    const std::string_view line = take_line(&text);
    for (const std::string_view opening : openings) {
      if (line.starts_with(opening)) return true;
    }
  }
  return false;
}

}  // namespace fileref::runtime
