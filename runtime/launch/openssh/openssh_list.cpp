#include "runtime/launch/openssh/openssh_list.h"

#include <algorithm>
#include <utility>

#include "runtime/launch/answers.h"
#include "runtime/launch/line_buffer.h"
#include "runtime/launch/openssh/openssh.h"

namespace fileref::runtime::openssh {
namespace {

std::string_view missing(std::string_view err) {
  return find_line(err, {"Can't ls: "});
}

constexpr const char* kNotEntered = "it may be read, but not entered";

// Why a directory is not listed, or not to its end; else empty.
std::string_view unreadable(std::string_view err) {
  return find_line(err, {"remote readdir", "Couldn't read directory", "Couldn't get handle"});
}

// The client leaves out a name that holds a slash.
std::string_view incomplete(std::string_view err) {
  return find_line(err, {"Server sent suspect path"});
}

// The name behind `slashes` slashes of a path.
std::string_view name_behind(std::string_view path, std::size_t slashes) {
  for (; slashes > 0; --slashes) {
    path.remove_prefix(std::min(path.size(), path.find('/')));
    if (!path.empty()) path.remove_prefix(1);
  }
  return path.substr(0, path.find('/'));
}

}  // namespace

Step List::begin() {
  state_ = State::kList;
  asked_ = 0;
  found_.clear();
  return looking(list_names(selection().path));
}

Step List::take(const Reply& reply) {
  switch (state_) {
    case State::kList:
      return judge(reply);
    case State::kExplain:
      return judge_explained(reply);
    case State::kEnter:
      return judge_silence(reply);
    case State::kAskName:
      return judge_name(reply);
    case State::kAskBeginning:
      break;
  }
  return judge_beginning(reply);
}

Step List::judge(const Reply& reply) {
  const std::string_view lines = behind_echo(reply.out);
  const std::string left_out(incomplete(reply.err));
  if (!unreadable(reply.err).empty()) return fail_unreadable(unreadable(reply.err));
  if (!left_out.empty()) return fail("the client leaves a name out: " + left_out);
  if (lines.empty()) {
    if (!missing(reply.err).empty()) return judge_missing(reply);
    if (!reply.err.empty()) return fail_silent(reply);
    // Empty, or one in which no name can be looked at.
    state_ = State::kEnter;
    return looking(dialect_.look(selection().path.empty() ? "." : selection().path + "/."));
  }
  if (names_one_file(lines)) return answer_file(selection());
  std::string why;
  listing_ = DirectoryListing::parse(lines, {false, true, depth()}, &why);
  return listing_ ? next_name() : fail(why);
}

Step List::judge_missing(const Reply& reply) {
  if (!selection().prefix.empty()) {
    return refusal("no such file or directory", std::string(missing(reply.err)));
  }
  // The current directory: without a path the client says why.
  state_ = State::kExplain;
  return looking("ls -1af");
}

Step List::judge_explained(const Reply& reply) {
  const std::string_view complaint = unreadable(reply.err);
  return complaint.empty() ? fail(kNotEntered) : fail_unreadable(complaint);
}

Answer List::fail_unreadable(std::string_view complaint) const {
  // The current directory was removed.
  if (complaint.ends_with("): No such file or directory")) {
    return refusal("no such file or directory", std::string(complaint));
  }
  return fail("the client cannot read it: " + std::string(complaint));
}

// Asked about something that is no directory, the client lists that.
bool List::names_one_file(std::string_view lines) const {
  const std::string_view path = selection().path;
  return !path.empty() && !path.ends_with('/') && lines.find('\n') + 1 == lines.size() &&
         slashes(lines) == slashes(path);
}

Step List::judge_silence(const Reply& reply) {
  if (!missing(reply.err).empty()) return fail(kNotEntered);
  if (!reply.err.empty()) return fail_silent(reply);
  std::string why;
  listing_ = DirectoryListing::parse({}, {false, true, 1}, &why);
  return answer(std::move(listing_));
}

Answer List::fail_silent(const Reply& reply) const {
  return fail("the client lists nothing: " + std::string(find_line(reply.err, {""})));
}

// How many slashes stand before each name.
std::size_t List::depth() const {
  return slashes(selection().path) + (selection().path.ends_with('/') ? 0 : 1);
}

std::string_view List::unclear_name() const {
  return listing_->entry(listing_->unclear()[asked_]).name;
}

Step List::next_name() {
  if (asked_ == listing_->unclear().size()) return answer(std::move(listing_));
  unclear_.emplace(unclear_name());
  return ask_name();
}

std::string List::line_for(const UnclearName::Candidate& candidate) const {
  const std::string& path = selection().path;
  const std::string directory = path.empty() ? "./" : path + (path.ends_with('/') ? "" : "/");
  return list_names(directory + candidate.name) + (candidate.is_whole ? "" : "*");
}

Step List::ask_name() {
  std::optional<UnclearName::Candidate> candidate = unclear_->next();
  if (!candidate) {
    return fail("the true name of " + quoted(std::string(unclear_name())) +
                " cannot be found out: rename that file");
  }
  candidate_ = *std::move(candidate);
  const std::string line = line_for(candidate_);
  if (line.size() > dialect_.longest_line())
    return fail("its path is too long to ask about its names");
  state_ = candidate_.is_whole ? State::kAskName : State::kAskBeginning;
  return looking(line);
}

// The echo proves that the client shows the candidate like the name in question, and not plainly.
Step List::judge_name(const Reply& reply) {
  const std::string_view echo = std::string_view(reply.out).substr(0, reply.out.find('\n'));
  const bool fits = echo.ends_with(candidate_.shown + '"') && missing(reply.err).empty();
  if (!fits || !found_.insert(candidate_.name).second) return ask_name();
  listing_->set_name(listing_->unclear()[asked_++], candidate_.name);
  return next_name();
}

// The pattern shows the matching names, or what is in a directory that alone matches.
Step List::judge_beginning(const Reply& reply) {
  std::string_view lines = behind_echo(reply.out);
  while (!lines.empty()) {
    if (name_behind(take_line(&lines), depth()) == unclear_name()) unclear_->confirm_beginning();
  }
  return ask_name();
}

}  // namespace fileref::runtime::openssh
