#include "runtime/option_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "host/codes.h"

namespace fileref::runtime {
namespace {

struct Takes {
  std::string_view keyword;
  std::string_view values;
  long least = 0;
  long most = 0;  // 0: it takes no number
};

constexpr long kMost = 2147483647;

constexpr Takes kTakes[] = {
    {"LRECL", "a number of bytes from 1 to 2147483647", 1, kMost},
    {"WAIT_MILLISECONDS", "a number from 0 to 2147483647", 0, kMost},
    {"RECFM", "V (lines), F (fixed length) or S (a stream)"},
    {"USER", "a text of at most 127 bytes"},
    {"HOST", "a text of at most 127 bytes"},
    {"HOSTNAME", "a text of at most 127 bytes"},
    {"OPTIONS", "a text in quotes"},
    {"OPTIONSX", "a text in quotes"},
    {"ENCODING", "a name that iconv -l lists, of at most 20 bytes"},
    {"LSFILE", "a name or a pattern"},
    {"CD", "the name of a directory"},
    {"BATCHFILE", "the name of a local file"},
    {"PATH", "the name of a program"},
    {"NBYTE", "the name of a host variable, of at most 32 bytes"},
};

const Takes* find(std::string_view keyword) {
  const Takes* found = std::find_if(std::begin(kTakes), std::end(kTakes),
                                    [&](const Takes& takes) { return takes.keyword == keyword; });
  return found != std::end(kTakes) ? found : nullptr;
}

bool is_in_range(const Takes& takes, std::string_view number) {
  if (number.starts_with('+')) number.remove_prefix(1);
  long value = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  return error == std::errc() && end == number.data() + number.size() && value >= takes.least &&
         value <= takes.most;
}

}  // namespace

std::string refusal_of_value(const OptionSource& source) {
  const Takes* takes = find(source.ahead(0));
  const bool good = takes == nullptr || takes->most == 0 || is_in_range(*takes, source.ahead(2));
  return good ? "" : explain_refusal(source, kOptionSyntax);
}

std::string explain_refusal(const OptionSource& source, rctype rc) {
  if (rc == kTokenFailure) return source.failure();
  const std::string_view keyword = source.ahead(0);
  const Takes* takes = rc == kOptionSyntax ? find(keyword) : nullptr;
  if (takes == nullptr) return {};
  const std::string_view behind = source.ahead(1) == "=" ? "" : " behind an equals sign";
  return fmt::format("{} takes {}{}.", keyword, takes->values, behind);
}

}  // namespace fileref::runtime
