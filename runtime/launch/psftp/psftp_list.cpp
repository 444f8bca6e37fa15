#include "runtime/launch/psftp/psftp_list.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/line_buffer.h"

namespace fileref::runtime::psftp {
namespace {

constexpr std::string_view kUnusual = "*[^ -~]*";
constexpr ListingForm kForm{true, false, 0};

bool is_unusual(std::string_view name) {
  return std::any_of(name.begin(), name.end(), [](char c) { return c < ' ' || c > '~'; });
}

// Calls `take` with the name in each line, empty when the line is no entry.
template <class Take>
void for_each_name(std::string_view lines, Take take) {
  while (!lines.empty()) {
    const std::optional<LongLine> line = parse_long_line(take_line(&lines));
    take(line ? line->path : "");
  }
}

}  // namespace

Step List::begin() {
  state_ = State::kList;
  unconfirmed_.clear();
  return looking(list_names(selection().path));
}

Step List::take(const Reply& reply) {
  switch (state_) {
    case State::kList:
      return judge(reply);
    case State::kFile:
      return judge_file(reply);
    case State::kRoot:
      return judge_root(reply);
    case State::kUnusual:
      return judge_unusual(reply);
    case State::kOfLength:
      break;
  }
  return judge_length(reply);
}

Step List::judge(const Reply& reply) {
  const std::optional<Listed> listed = read_listed(reply.out);
  if (!listed) return fail_unreadable(listed);
  if (listed->complaint.ends_with(": no such file or directory")) {
    if (selection().path.empty() || selection().path.ends_with('/')) {
      return refusal("no such file or directory", std::string(listed->complaint));
    }
    return ask(State::kFile, list_only(selection().path));
  }
  if (!listed->complaint.empty()) return fail_unreadable(listed);
  lines_ = listed->lines;
  // Empty, or one in which no name can be looked at: most servers list "." in the former.
  if (lines_.empty()) return ask(State::kRoot, list_matches("/", "[.]"));
  return ask(State::kUnusual, list_matches(selection().path, kUnusual));
}

Step List::judge_file(const Reply& reply) {
  const std::optional<Listed> listed = read_listed(reply.out);
  const bool is_there = listed && !listed->lines.empty();
  return is_there ? answer_file(selection()) : refusal("no such file or directory");
}

Step List::judge_root(const Reply& reply) {
  const std::optional<Listed> listed = read_listed(reply.out);
  const bool lists_dots = !listed || !listed->complaint.empty() || !listed->lines.empty();
  if (lists_dots) return fail("it may be read, but not entered");
  return answer_lines();
}

Step List::judge_unusual(const Reply& reply) {
  const std::optional<Listed> listed = read_listed(reply.out);
  if (!listed || !listed->complaint.empty()) return fail_unreadable(listed);
  std::optional<std::string_view> hidden;
  std::string_view previous;
  for_each_name(listed->lines, [&](std::string_view name) {
    const bool may_be_whole = is_unusual(name) && unconfirmed_[name.size()].emplace(name).second;
    // What is no entry is the rest of the name before, behind a line feed.
    if (!may_be_whole && !hidden) hidden = name.empty() ? previous : name;
    previous = name;
  });
  return hidden ? fail_hidden(*hidden) : next_length();
}

Step List::next_length() {
  if (unconfirmed_.empty()) return answer_lines();
  const std::string pattern(unconfirmed_.begin()->first, '?');
  return ask(State::kOfLength, list_matches(selection().path, pattern));
}

Step List::judge_length(const Reply& reply) {
  const std::optional<Listed> listed = read_listed(reply.out);
  if (!listed || !listed->complaint.empty()) return fail_unreadable(listed);
  std::set<std::string>& names = unconfirmed_.begin()->second;
  for_each_name(listed->lines, [&](std::string_view name) { names.erase(std::string(name)); });
  if (!names.empty()) return fail_hidden(*names.begin());
  unconfirmed_.erase(unconfirmed_.begin());
  return next_length();
}

Step List::ask(State state, const std::optional<std::string>& line) {
  if (!line) return fail("psftp takes *, ?, [ and ] in its path for wildcards: enter it first");
  state_ = state;
  return looking(*line);
}

Answer List::answer_lines() {
  std::string why;
  std::unique_ptr<DirectoryListing> listing = DirectoryListing::parse(lines_, kForm, &why);
  return listing ? answer(std::move(listing)) : fail(why);
}

Answer List::fail_unreadable(const std::optional<Listed>& listed) const {
  if (!listed) return fail("the client's answer is not understood");
  return fail("the client cannot read it: " + std::string(listed->complaint));
}

Answer List::fail_hidden(std::string_view shown) const {
  return fail("psftp does not show the name " + quoted(std::string(shown)) +
              " whole: rename that file, or use sftp");
}

}  // namespace fileref::runtime::psftp
