#include "runtime/launch/openssh_list.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/glob.h"
#include "runtime/launch/listing.h"
#include "runtime/launch/openssh_answers.h"
#include "runtime/name_escape.h"

namespace fileref::runtime::openssh {
namespace {

// The names are sorted here: that is faster.
constexpr std::string_view kList = "ls -lnaf";
constexpr std::string_view kOpening = "sftp> ls\n. .. \n";

// The longest name that the module holds.
constexpr std::size_t kLongestName = 512;

// The reply's output behind the echo of its one line.
std::string_view listed(const Reply& reply) {
  const std::string_view out = reply.out;
  return out.substr(std::min(out.find('\n'), out.size() - 1) + 1);
}

bool says_nothing_is_there(std::string_view err) {
  return has_line(err, {"Can't ls: "});
}

bool says_unreadable(std::string_view err) {
  return has_line(err, {"remote readdir(\"", "Couldn't read directory", "Couldn't get handle"});
}

// The current directory was removed.
bool says_directory_is_gone(std::string_view err) {
  return says_unreadable(err) && err.find("\"): No such file or directory") != err.npos;
}

}  // namespace

std::string list_line(std::string_view path) {
  return std::string(kList) + (path.empty() ? "" : ' ' + quote_for_listing(path));
}

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
  const std::string pattern(text.substr(name));
  return Selection{literal_path(prefix), prefix, pattern};
}

Step List::begin() {
  return Request{{list_line(selection_.path)}, false, true};
}

Step List::take(const Reply& reply) {
  switch (state_) {
    case State::kList:
      return judge(reply);
    case State::kEnter:
      return judge_silence(reply);
    case State::kAskName:
      break;
  }
  return judge_name(reply);
}

Step List::judge(const Reply& reply) {
  const std::string_view lines = listed(reply);
  if (says_directory_is_gone(reply.err)) return refusal("no such file or directory");
  if (says_unreadable(reply.err)) return fail("the client cannot read it");
  if (lines.empty()) {
    if (says_nothing_is_there(reply.err)) return refusal("no such file or directory");
    if (!reply.err.empty()) return fail("the client complains, and lists nothing");
    // Empty, or one in which no name can be looked at.
    state_ = State::kEnter;
    return Request{
        {list_line(selection_.path.empty() ? "." : selection_.path + "/.")}, false, true};
  }
  if (names_one_file(lines)) {
    const std::string_view file(selection_.prefix.data(), selection_.prefix.size() - 1);
    return Answer{kSuccess,
                  std::string(kOpening) + escape_name(file) + '\n' + std::string(kPrompt)};
  }
  const std::string_view path = selection_.path;
  const std::size_t depth = slashes(path) + (path.empty() || path.ends_with('/') ? 0 : 1);
  std::string why;
  listing_ = DirectoryListing::parse(lines, depth, &why);
  return listing_ ? next_name() : fail(why);
}

// Asked about something that is no directory, the client lists that.
bool List::names_one_file(std::string_view lines) const {
  const std::string_view path = selection_.path;
  if (path.empty() || path.ends_with('/') || lines.find('\n') + 1 != lines.size()) return false;
  const std::optional<LongLine> line = parse_long_line(lines.substr(0, lines.size() - 1));
  return line && line->type != 'd' && slashes(line->path) == slashes(path);
}

Step List::judge_silence(const Reply& reply) {
  if (says_nothing_is_there(reply.err)) return fail("it may be read, but not entered");
  if (!reply.err.empty()) return fail("the client complains, and lists nothing");
  std::string why;
  listing_ = DirectoryListing::parse({}, 0, &why);
  return answer_names();
}

Step List::next_name() {
  if (asked_ == listing_->unclear().size()) {
    listing_->sort();
    return answer_names();
  }
  unclear_.emplace(listing_->entries()[listing_->unclear()[asked_]].name);
  return ask_name();
}

Step List::ask_name() {
  std::optional<UnclearName::Candidate> candidate = unclear_->next();
  if (!candidate) {
    const auto& entry = listing_->entries()[listing_->unclear()[asked_]];
    return fail("the true name of \"" + std::string(entry.name) + "\" cannot be found out");
  }
  candidate_ = *std::move(candidate);
  const std::string line = list_line(literal_path(selection_.prefix + candidate_.name));
  if (line.size() > kLongestLine) return fail("its path is too long to ask about its names");
  state_ = State::kAskName;
  return Request{{line}, false, true};
}

// The echo proves that the client shows the candidate like the name in question, and not plainly.
Step List::judge_name(const Reply& reply) {
  const std::string_view echo = std::string_view(reply.out).substr(0, reply.out.find('\n'));
  const bool fits = echo.ends_with(candidate_.shown + '"') && !says_nothing_is_there(reply.err);
  if (!fits || !found_.insert(candidate_.name).second) return ask_name();
  listing_->set_name(listing_->unclear()[asked_++], candidate_.name);
  return next_name();
}

Answer List::answer_names() {
  const Glob glob(selection_.pattern);
  const auto selects = [&](std::string_view name) {
    if (!selection_.pattern.empty()) return glob.matches(name);
    return selection_.dot_names || !name.starts_with('.');
  };
  Answer answer{kSuccess, std::string(kOpening)};
  const std::string prefix = escape_name(selection_.prefix);
  for (const DirectoryListing::Entry& entry : listing_->entries()) {
    if (!selects(entry.name)) continue;
    const std::string name = escape_name(entry.name);
    if (prefix.size() + name.size() > kLongestName) {
      return fail("a name in it is too long: " +
                  quoted(selection_.prefix + std::string(entry.name)));
    }
    answer.text += prefix;
    answer.text += name;
    answer.text += '\n';
  }
  if (!selection_.pattern.empty() && answer.text.size() == kOpening.size()) {
    return refusal("no such file or directory");
  }
  answer.text += kPrompt;
  if (selection_.path.empty()) {
    session_->listed = std::move(listing_);
    session_->listed_directory = session_->directory;
  }
  return answer;
}

Answer List::fail(const std::string& reason) const {
  const std::string& what = selection_.path.empty() ? session_->directory : selection_.path;
  return failure("the listing of " + quoted(what) + " failed: " + reason);
}

// The end of the client's output would pass for the end of the names.
Answer List::lost(Answer failure, std::string_view) {
  if (failure.status == kEndOfOutput) failure.status = kProcessFailed;
  failure.explanation = fail(failure.explanation).explanation;
  return failure;
}

}  // namespace fileref::runtime::openssh
