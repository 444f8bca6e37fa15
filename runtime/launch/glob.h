// Patterns for names, as the client itself would match them.
#pragma once

#include <clocale>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace fileref::runtime {

// Whether `text` holds a `*`, `?` or `[` without a backslash before it.
bool has_wildcard(std::string_view text);

// A backslash stands for the byte behind it.
std::string without_escapes(std::string_view text);

// Matches byte by byte, whatever the locale of the process; a leading dot must be written as such.
class Glob {
 public:
  explicit Glob(std::string_view pattern);

  // `name` must be followed by a NUL.
  bool matches(std::string_view name) const;

 private:
  struct FreeLocale {
    void operator()(locale_t locale) const { freelocale(locale); }
  };

  std::string pattern_;
  std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale> bytes_;
};

}  // namespace fileref::runtime
