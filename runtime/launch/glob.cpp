#include "runtime/launch/glob.h"

#include <fnmatch.h>

namespace fileref::runtime {
namespace {

// What "^" means at the start of a set differs: to clients it is a byte like any other.
std::string with_literal_carets(std::string_view pattern) {
  std::string result;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    result += pattern[i];
    if (pattern[i] == '\\' && i + 1 < pattern.size()) {
      result += pattern[++i];
    } else if (pattern.substr(i).starts_with("[^")) {
      result += '\\';
    }
  }
  return result;
}

}  // namespace

bool has_wildcard(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '*' || text[i] == '?' || text[i] == '[') {
      return true;
    }
  }
  return false;
}

std::string without_escapes(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    plain += text[i];
  }
  return plain;
}

Glob::Glob(std::string_view pattern)
    : pattern_(with_literal_carets(pattern)), bytes_(newlocale(LC_ALL_MASK, "C", nullptr)) {}

bool Glob::matches(std::string_view name) const {
  const locale_t before = uselocale(bytes_.get());
  const bool matched = fnmatch(pattern_.c_str(), name.data(), FNM_PERIOD) == 0;
  uselocale(before);
  return matched;
}

}  // namespace fileref::runtime
