#include "runtime/launch/selection.h"

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/glob.h"
#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kOpening = "sftp> ls\n. .. \n";

// The longest name that the module holds.
constexpr std::size_t kLongestName = 512;

}  // namespace

std::optional<Selection> select(std::string_view text, std::string* why) {
  if (text.empty()) return Selection{};
  if (!has_wildcard(text)) {
    const std::string name = without_escapes(text);
    return Selection{literal_path(name), name + (name.ends_with('/') ? "" : "/")};
  }
  const std::size_t name = text.rfind('/') + 1;
  if (has_wildcard(text.substr(0, name))) {
    *why = "the pattern \"" + std::string(text) +
           "\" has wildcards in a directory name: give them in the last name only";
    return std::nullopt;
  }
  const std::string prefix = without_escapes(text.substr(0, name));
  return Selection{literal_path(prefix), prefix, std::string(text.substr(name))};
}

Answer answer_names(const Selection& selection, const DirectoryListing& listing) {
  const Glob glob(selection.pattern);
  const auto selects = [&](std::string_view name) {
    if (!selection.pattern.empty()) return glob.matches(name);
    return selection.dot_names || !name.starts_with('.');
  };
  Answer answer{kSuccess, std::string(kOpening)};
  const std::string prefix = escape_name(selection.prefix);
  for (const DirectoryListing::Entry& entry : listing.entries()) {
    if (!selects(entry.name)) continue;
    const std::string name = escape_name(entry.name);
    if (prefix.size() + name.size() > kLongestName) {
      return failure("a name in it is too long: " +
                     quoted(selection.prefix + std::string(entry.name)));
    }
    answer.text += prefix;
    answer.text += name;
    answer.text += '\n';
  }
  if (!selection.pattern.empty() && answer.text.size() == kOpening.size()) {
    return refusal("no such file or directory", "no name matches " + quoted(selection.pattern));
  }
  answer.text += kPrompt;
  return answer;
}

Answer answer_file(const Selection& selection) {
  const std::string_view file(selection.prefix.data(), selection.prefix.size() - 1);
  return {kSuccess, std::string(kOpening) + escape_name(file) + '\n' + std::string(kPrompt)};
}

}  // namespace fileref::runtime
