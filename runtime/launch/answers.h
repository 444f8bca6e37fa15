// What the operations have in common: the answers that the module understands, and a look at the
// client's messages.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

inline constexpr std::string_view kPrompt = "sftp> ";

Answer done();
// An answer with a phrase that the module takes for a failure.
Answer refusal(std::string_view phrase, std::string explanation = {});
Answer failure(std::string explanation);

std::string quoted(const std::string& name);
// Else std::quoted, which any header may bring along, would suit a variable better.
inline std::string quoted(std::string& name) {
  return quoted(std::as_const(name));
}

// The first line of `text` that begins with one of `openings`; empty when none does.
std::string_view find_line(std::string_view text, std::initializer_list<std::string_view> openings);
// Whether there is one.
bool has_line(std::string_view text, std::initializer_list<std::string_view> openings);

}  // namespace fileref::runtime
