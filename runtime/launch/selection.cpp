#include "runtime/launch/selection.h"

#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/glob.h"
#include "runtime/launch/line_buffer.h"
#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

constexpr std::string_view kOpening = "sftp> ls\n. .. \n";

// The longest name that the module holds.
constexpr std::size_t kLongestName = 512;

// So much is made at a time, in bytes.
constexpr std::size_t kPiece = std::size_t{64} << 10;
// An escaped name is at most so much longer.
constexpr std::size_t kMostGrowth = 3;

class SelectedNames {
 public:
  SelectedNames(Selection selection, std::shared_ptr<const DirectoryListing> listing)
      : selection_(std::move(selection)),
        listing_(std::move(listing)),
        glob_(selection_.pattern),
        prefix_(escape_name(selection_.prefix)) {
    skip_unselected();
  }

  const std::string& pattern() const { return selection_.pattern; }
  bool are_missing() const { return !pattern().empty() && at_ == listing_->size(); }

  // The first selected name that is too long for the module, behind its prefix.
  std::string find_too_long() const {
    for (std::size_t i = at_; i < listing_->size(); ++i) {
      const std::string_view name = listing_->entry(i).name;
      const bool is_short = prefix_.size() + kMostGrowth * name.size() <= kLongestName;
      if (is_short || !selects(name)) continue;
      if (prefix_.size() + escape_name(name).size() > kLongestName) {
        return selection_.prefix + std::string(name);
      }
    }
    return {};
  }

  bool append_some(std::string* text) {
    for (const std::size_t end = text->size() + kPiece; text->size() < end; skip_unselected()) {
      if (at_ == listing_->size()) {
        *text += kPrompt;
        return false;
      }
      *text += prefix_;
      *text += escape_name(listing_->entry(at_++).name);
      *text += '\n';
    }
    return true;
  }

 private:
  bool selects(std::string_view name) const {
    if (!pattern().empty()) return glob_.matches(name);
    return selection_.dot_names || !name.starts_with('.');
  }

  void skip_unselected() {
    while (at_ < listing_->size() && !selects(listing_->entry(at_).name)) ++at_;
  }

  const Selection selection_;
  const std::shared_ptr<const DirectoryListing> listing_;
  const Glob glob_;
  const std::string prefix_;
  std::size_t at_ = 0;  // the next that is selected
};

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

Answer answer_names(Selection selection, std::shared_ptr<const DirectoryListing> listing) {
  const auto names = std::make_shared<SelectedNames>(std::move(selection), std::move(listing));
  const std::string too_long = names->find_too_long();
  if (!too_long.empty()) return failure("a name in it is too long: " + quoted(too_long));
  if (names->are_missing()) {
    return refusal("no such file or directory", "no name matches " + quoted(names->pattern()));
  }
  Answer answer{kSuccess, std::string(kOpening)};
  answer.more = [names](std::string* text) { return names->append_some(text); };
  return answer;
}

Answer answer_file(const Selection& selection) {
  const std::string_view file(selection.prefix.data(), selection.prefix.size() - 1);
  return {kSuccess, std::string(kOpening) + escape_name(file) + '\n' + std::string(kPrompt)};
}

std::vector<std::string> names_in(std::string_view answer) {
  std::vector<std::string> names;
  if (!answer.starts_with(kOpening) || !answer.ends_with(kPrompt)) return names;
  answer.remove_prefix(kOpening.size());
  answer.remove_suffix(kPrompt.size());
  while (!answer.empty()) names.push_back(unescape_name(take_line(&answer)));
  return names;
}

}  // namespace fileref::runtime
