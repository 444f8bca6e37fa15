// Listings, with every client.
#include <signal.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include "runtime/name_escape.h"
#include "tests/launch/conformance.h"
#include "tests/support/hostile_names.h"

namespace fileref::runtime {
namespace {

using Names = std::vector<std::string>;

const std::string kOpening = "sftp> ls\n. .. \n";

// Whether nothing has to be deleted from it before it is printed.
bool psftp_shows(const std::string& name) {
  const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr), before = uselocale(utf8);
  std::mbstate_t state{};
  bool shows = true;
  for (std::size_t at = 0, length; shows && at < name.size(); at += length) {
    wchar_t character = 0;
    length = std::mbrtowc(&character, &name[at], name.size() - at, &state);
    shows = length <= name.size() && !std::iswcntrl(static_cast<wint_t>(character));
  }
  uselocale(before);
  freelocale(utf8);
  return shows;
}

class Listings : public Conformance {
 protected:
  // All pieces of an answer, as a reader with room for `capacity` bytes takes them.
  std::string whole_answer(std::size_t capacity) {
    std::string text, piece(capacity, 0);
    do {
      std::size_t length = 0;
      if (client_->wait(milliseconds(1)) != kSuccess) return "nothing to read";
      if (client_->read(0, piece.data(), capacity, &length) != kSuccess) return "failed";
      text.append(piece, 0, length);
      EXPECT_TRUE(text.ends_with('\n') || text.ends_with(kPrompt)) << "cut within a line";
    } while (!text.ends_with("\n" + kPrompt));
    return text;
  }

  // The listed names, or a single one that tells of a failure.
  Names list(const std::string& text, std::size_t capacity = 8192) {
    if (client_->send("ls " + text + "\n") != kSuccess) return {"not sent"};
    std::string answer = whole_answer(capacity);
    if (!answer.starts_with(kOpening)) return {answer};
    answer.erase(answer.size() - kPrompt.size());
    answer.erase(0, kOpening.size());
    EXPECT_EQ(answer.find_first_of(" \r"), std::string::npos);
    EXPECT_EQ(answer.find("sftp>"), std::string::npos);
    Names names = split(answer, '\n');
    for (std::string& name : names) name = unescape_name(name);
    return names;
  }

  void make(const Names& names) {
    for (const std::string& name : names) write_file(remote_ / name, "content of " + name);
  }
};

TEST_P(Listings, CarriesAnyName) {
  Names names = split(
      "\\001/\001/\\377/\377/\\001\001/\001\\001/\\001\\001/\001\001/\\303\\251/\\303\xa9/\xc3\xa9/"
      "x\xc3y\x01/\xc2\x85/\xe2\x80\xae/\\/\\\\101/a\\/a\\8/\\0011/\t/\r/\rx/x\r/?/*/-/-l/--/..x/"
      "x../"
      "Couldn't Canonicalise: x/CANONICALISE/SFTP>/\x10/\x1f/\x1f \x10/"
      "-rw-r--r-- 1 a b 7 Nov 22 21:25 z/\\303\033x\033\\251\xff\xff\\007\\033y/"
      "\033\\033x\033\\251\xff\\377\\007\\033y/\\033\033x\033\\251\xff\\377\\007\\033y/",
      '/');
  names.push_back(std::string(255, '\r'));
  names.push_back(std::string(127, '\xff') + "\\001");
  for (const std::string& name : hostile_names()) names.push_back(name);
  connect(server());
  if (is_psftp()) {
    const auto unseen = std::partition(names.begin(), names.end(), psftp_shows);
    ASSERT_GT(names.end() - unseen, 20);
    for (; names.end() != unseen; names.pop_back()) {
      make({names.back()});
      EXPECT_EQ(list("-a "), Names{"failed"}) << names.back();
      EXPECT_TRUE(tells("whole: rename that file, or use sftp")) << told();
      support::fs::remove(remote_ / names.back());
    }
  }
  make(names);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(list("-a "), names);
  for (const std::string& name : names) {
    ASSERT_EQ(get(escape_name(name)), kPrompt) << name << client_->explanation();
    ASSERT_EQ(read_file(local_), "content of " + name);
  }
  for (const std::string& name : names) {
    std::string literal = "./";
    for (const char c : name) literal += (std::strchr("*?[\\", c) ? "\\" : "") + std::string(1, c);
    ASSERT_EQ(list(escape_name(literal)), Names{"./" + name});
  }
  std::erase_if(names, [](const std::string& name) { return name.starts_with('.'); });
  EXPECT_EQ(list(""), names);
  std::erase_if(names, [](const std::string& name) { return !name.ends_with('1'); });
  EXPECT_EQ(list("*1"), names);
  ASSERT_EQ(names.size(), is_psftp() ? 6u : 8u);
}

// Beside directories that its name would stand for as a pattern.
TEST_P(Listings, WorkInAnyDirectory) {
  Names names = split("{a,b}/[ab]/*/?/\\a/-a/with blank/\"q'/{\\001,b}/{\001,b}/x{\\{,}", '/');
  for (const char* other : {"a", "b"}) {
    support::fs::create_directories(remote_ / other / "in");
    write_file(remote_ / other / "in/file", "another's");
  }
  connect(server());
  verify_ = true;
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    support::fs::create_directories(remote_ / name / "in/sub");
    ASSERT_EQ(ask("cd \"" + escape_name(name) + '"'), kPrompt) << told();
    ASSERT_EQ(ask("cd \"in\""), kPrompt) << told();
    write_file(local_, "mine");
    EXPECT_EQ(put("file"), kPrompt) << told();
    EXPECT_EQ(put("sub"), "failed") << told();
    write_file(local_, "");
    EXPECT_EQ(get("file"), kPrompt) << told();
    EXPECT_EQ(read_file(local_), "mine");
    EXPECT_EQ(list("-a "), (Names{"file", "sub"})) << told();
    EXPECT_EQ(get("file"), kPrompt) << told();
    EXPECT_EQ(list("f*"), Names{"file"}) << told();
    EXPECT_EQ(list("file"), Names{"file"}) << told();
    EXPECT_EQ(list("sub"), Names{}) << told();
    EXPECT_EQ(list("nope"), Names{kNotThere}) << told();
    EXPECT_EQ(ask("mkdir \"new\""), kPrompt) << told();
    ASSERT_EQ(ask("cd \"" + remote_.string() + '"'), kPrompt) << told();
    support::fs::remove_all(remote_ / name);
  }
}

TEST_P(Listings, MatchesPatternsAsTheClientDoes) {
  make({"a.csv", "b.csv", "aa.csv", ".a.csv", "^.csv", "-.csv", "[z]", "x\\y", "a[", "\xc3\xa9"});
  support::fs::create_directory(remote_ / "sub");
  make({"sub/a.csv", "sub/b", "sub/.c"});
  Names patterns = split(
      "*.csv ?.csv [ab].csv [!a].csv [^a].csv [^!]* [a-c]*.csv .*.csv ?a.csv * [.]a.csv \\[z\\] "
      "[[]z] "
      "[]]* *[ a[ \\* a*a*v [[:alpha:]].csv x\\\\* ?? sub/* sub/.*v ./*.csv nope* nope/* a.csv/*",
      ' ');
  patterns.push_back(remote_.string() + "/*.csv");
  const std::string batch = directory_ / "batch";
  connect(server());
  std::unique_ptr<Client> client = std::move(client_);
  for (const std::string& pattern : patterns) {
    write_file(batch, "cd \"" + remote_.string() + "\"\nls -1 " + pattern + "\n");
    ASSERT_TRUE(launch("sftp -q -b \"" + batch + "\" -D " + kServer + " ")) << why_;
    std::string printed, last;
    while ((last = answer()) != "end of output" && last != "failed") printed += last;
    Names expected = split(printed, '\n');
    expected.erase(expected.begin(), expected.begin() + 2);  // the echoes
    for (std::string& name : expected) {
      if (name.ends_with('/')) name.pop_back();
    }
    if (expected.empty()) expected = {kNotThere};
    client_ = std::move(client);
    EXPECT_EQ(list(pattern), expected) << pattern;
    client = std::move(client_);
  }
}

TEST_P(Listings, TellsWhatIsNotThereFromWhatCannotBeRead) {
  make({"file", "with blank"});
  for (const char* name : {"empty", "sub", "closed", "unreadable", "unenterable", "feed"}) {
    support::fs::create_directory(remote_ / name);
  }
  make({"sub/-b", "sub/.a", "unenterable/x", "feed/a\nb", "feed/c"});
  support::fs::create_symlink("sub", remote_ / "link");
  support::fs::create_symlink("nowhere", remote_ / "dangling");
  support::fs::permissions(remote_ / "closed", support::fs::perms(0));
  support::fs::permissions(remote_ / "unreadable", support::fs::perms(0711));
  support::fs::permissions(remote_ / "unenterable", support::fs::perms(0744));
  connect(kAnotherUser + server());
  struct Case {
    std::string text;
    Names names;
    std::string explanation = {};
  };
  const std::string deep = remote_.string();
  const std::string reason = is_direct() ? "permission denied"
                             : is_psftp()
                                 ? "Unable to open unreadable"
                                 : "remote readdir(\"" + deep + "/unreadable/\"): Permission";
  const std::string cannot = is_direct() ? "" : "the client cannot read it: ";
  // Some servers look at every name before they send it.
  const std::string unenterable =
      is_another() ? "permission denied" : "it may be read, but not entered";
  const Case cases[] = {
      {"file", {"file"}},
      {"with blank", {"with blank"}},
      {"with\\ blank", {"with blank"}},
      {"empty", {}},
      {"sub", {"sub/-b"}},
      {"sub/", {"sub/-b"}},
      {"link", {"link/-b"}},
      {deep + "/sub", {deep + "/sub/-b"}},
      {"dangling", {"dangling"}},
      {"nope", {kNotThere}},
      {"nope/x", {kNotThere}},
      {"file/", {kNotThere}},
      {"-x", {kNotThere}},
      {"empty/*", {kNotThere}},
      {"unreadable", {"failed"}, "\"unreadable\" failed: " + cannot + reason},
      {"unreadable/*", {"failed"}, "\"unreadable/\" failed: " + cannot + reason},
      {"closed", {"failed"}, "\"closed\" failed: " + cannot},
      {"unenterable", {"failed"}, "\"unenterable\" failed: " + unenterable},
      {"feed", is_direct() ? Names{"feed/a\nb", "feed/c"} : Names{"failed"},
       is_direct()  ? ""
       : is_psftp() ? "\"feed\" failed: psftp does not show the name \"a\" whole"
                    : "\"feed\" failed: there is a line feed in the name \""},
      {"*/x", {"not sent"}, "give them in the last name only"},
      {"a\nls", {"not sent"}, "a line feed"},
      {std::string(20000, 'x'), {"not sent"}, "too long"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(list(c.text), c.names) << c.text;
    EXPECT_NE(client_->explanation().find(c.explanation), std::string::npos)
        << c.text << ": " << client_->explanation();
  }
  // psftp enters only what it can read.
  for (const char* name : {"closed", "unreadable", "unenterable"}) {
    if (ask("cd \"" + std::string(name) + '"') != kPrompt) continue;
    EXPECT_EQ(list(""), Names{"failed"}) << name;
    EXPECT_TRUE(tells(name == std::string("unenterable") ? unenterable : "permission denied"))
        << name << told();
    ASSERT_EQ(ask("cd \"" + deep + '"'), kPrompt);
  }
  ASSERT_EQ(ask("cd \"empty\""), kPrompt);
  EXPECT_EQ(list(""), Names{});
  EXPECT_EQ(list("*"), Names{kNotThere});
  support::fs::remove(remote_ / "empty");
  EXPECT_EQ(list("-a "), Names{kNotThere});
}

TEST_P(Listings, IsWholeOrFails) {
  Names names;
  for (int i = 1000; i < 4000; ++i)
    names.push_back("a name of some length, number " + std::to_string(i));
  names.emplace_back("a%b");
  make(names);
  struct Case {
    std::string fault;
    std::size_t capacity;
    bool good;
  };
  const Case cases[] = {
      {"none", 8192, true},    {"none", 100, true},       {"noise", 8192, true},
      {"delay 5", 8192, true}, {"unlist 0", 8192, false}, {"unlist 3", 8192, false},
      {"cut 0", 8192, false},  {"cut 3", 8192, false},    {"slash", 8192, false}};
  for (const Case& c : cases) {
    connect(kFaultyServer + " " + c.fault);
    EXPECT_EQ(list("", c.capacity), c.good ? names : Names{"failed"}) << c.fault;
    EXPECT_EQ(client_->explanation().empty(), c.good) << client_->explanation();
    EXPECT_EQ(tells("a/b"), c.fault == "slash") << told();
    EXPECT_EQ(list("*9", c.capacity).size(), c.good ? 300u : 1u);
  }
  limits_.command = limits_.close_grace = milliseconds(300);
  connect(kFaultyServer + " none");
  const auto stopped = sessions();
  for (const pid_t server : stopped) ASSERT_EQ(kill(server, SIGSTOP), 0);
  EXPECT_EQ(list(""), Names{"failed"});
  EXPECT_NE(client_->explanation().find("no answer within"), std::string::npos);
  for (const pid_t server : stopped) kill(server, SIGCONT);
}

TEST_P(Listings, SparesTheQuestionForASizeThatItKnows) {
  make({"file", "grown", "shrunk", "gone"});
  support::fs::create_symlink("file", remote_ / "link");
  connect(server());
  ASSERT_EQ(list("*").size(), 5u);
  ASSERT_EQ(get("file"), kPrompt);  // which asks for all sizes
  write_file(remote_ / "grown", "more than there was");
  write_file(remote_ / "shrunk", "less");
  support::fs::remove(remote_ / "gone");
  const auto gets = [&](const std::string& name, std::size_t questions) {
    journal_.clear();
    const bool there = support::fs::exists(remote_ / name);
    EXPECT_EQ(get(name), there ? kPrompt : kRefused) << name;
    EXPECT_TRUE(!there || read_file(local_) == read_file(remote_ / name)) << name;
    const auto lines = split(journal_, '\n');
    const auto sent = std::count_if(lines.begin(), lines.end(),
                                    [](const std::string& line) { return line.starts_with("> "); });
    EXPECT_EQ(static_cast<std::size_t>(sent), is_direct() ? 1 : questions + 1) << journal_;
  };
  gets("file", 0);
  gets("grown", 2);
  gets("shrunk", 2);
  gets("gone", 0);
  gets("link", is_psftp() ? 3 : 1);
}

INSTANTIATE_TEST_SUITE_P(, Listings, kWays, Conformance::name);
INSTANTIATE_TEST_SUITE_P(Elsewhere, Listings, kAnotherWay, Conformance::name);

}  // namespace
}  // namespace fileref::runtime
