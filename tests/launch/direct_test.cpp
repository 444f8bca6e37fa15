// What only our own client does: it runs ssh itself, replaces files as a whole, goes on where a
// download stopped, and fetches ahead.
#include <algorithm>

#include "runtime/launch/command_line.h"
#include "runtime/launch/direct/session.h"
#include "runtime/launch/direct/ssh_command.h"
#include "tests/launch/conformance.h"

namespace fileref::runtime {
namespace {

using support::fs::exists;

// The words that stand for a client's command line, and what they ask of the protocol if it is not
// the usual; "program: " and why when it takes the client itself.
std::string run_in_place_of(const std::string& line) {
  std::string why, text;
  const auto command = direct::server_command(*split_words(line, &why), &why);
  if (!command) return "program: " + why;
  for (const std::string& word : command->words) text += (text.empty() ? "" : "|") + word;
  const sftp::Settings usual, &asked = command->settings;
  if (asked.longest_block != usual.longest_block) {
    text += " block=" + std::to_string(asked.longest_block);
  }
  if (asked.most_ahead != usual.most_ahead) text += " ahead=" + std::to_string(asked.most_ahead);
  return text;
}

TEST(SshCommand, IsWhatTheClientWouldRun) {
  const std::string safe = "-oForwardX11=no|-oPermitLocalCommand=no|-oClearAllForwardings=yes|";
  const std::string ssh = "/usr/bin/ssh|" + safe, plain = ssh + "-oForwardAgent=no|";
  const std::string only = "program: only the program sftp knows what to do with ";
  const std::pair<std::string, std::string> rows[] = {
      {"sftp host", plain + "-s|--|host|sftp"},
      {"sftp user@host", plain + "-l|user|-s|--|host|sftp"},
      {"sftp us@er@host", plain + "-l|us@er|-s|--|host|sftp"},
      {"sftp user@[::1]", plain + "-l|user|-s|--|::1|sftp"},
      {"sftp -P 22 -i 'my key' host", plain + "-oPort=22|-i|my key|-s|--|host|sftp"},
      {"sftp -P22 -4Cqv host", plain + "-oPort=22|-4|-C|-q|-v|-s|--|host|sftp"},
      {"sftp -CP22 -oUser=x host", plain + "-C|-oPort=22|-o|User=x|-s|--|host|sftp"},
      {"sftp -F f -J j -c c host", plain + "-F|f|-J|j|-c|c|-s|--|host|sftp"},
      {"sftp -2Nfpr host", plain + "-s|--|host|sftp"},
      {"sftp -A host", ssh + "-A|-s|--|host|sftp"},
      {"sftp -a host", plain + "-a|-s|--|host|sftp"},
      {"sftp -s other host", plain + "-s|--|host|other"},
      {"sftp -s '/bin/other -x' host", plain + "--|host|/bin/other -x"},
      {"sftp -S /my/ssh host", "/my/ssh|" + safe + "-oForwardAgent=no|-s|--|host|sftp"},
      {"sftp -- host", plain + "-s|--|host|sftp"},
      {"sftp -- -C", plain + "-s|--|-C|sftp"},
      {"sftp -D \"server -e 'a b'\" ", "server|-e|a b"},
      {"sftp -B 1000 -R 10 -D s", "s block=1000 ahead=10000"},
      {"sftp -X buffer=1000 -X nrequests=3 -D s", "s block=1000 ahead=3000"},
      {"sftp -B 99999999 -D s", "s"},
      {"sftp", "program: no host"},
      {"sftp host file", "program: more words stand behind the host"},
      {"sftp -b - host", only + "\"-b\""},
      {"sftp -Cl 100 host", only + "\"-l\""},
      {"sftp -o", only + "\"-o\""},
      {"sftp -X other=1 host", only + "\"-X other=1\""},
      {"sftp -B 0 host", "program: \"0\" is no number of bytes or requests"},
      {"sftp -R 1k host", "program: \"1k\" is no number of bytes or requests"},
  };
  for (const auto& [line, expected] : rows) EXPECT_EQ(run_in_place_of(line), expected) << line;
}

TEST(SshCommand, StandsInForTheSystemsOwnProgramOnly) {
  const std::string path = getenv("PATH");
  EXPECT_TRUE(direct::is_systems_own("sftp"));
  for (const char* other : {"psftp", "/usr/bin/sftp", "./sftp", "mysftp", ""}) {
    EXPECT_FALSE(direct::is_systems_own(other)) << other;
  }
  const support::TestDirectory directory;
  setenv("PATH", directory.path().c_str(), 1);
  EXPECT_FALSE(direct::is_systems_own("sftp")) << "there is none";
  support::fs::copy_file("/usr/bin/true", directory / "sftp");
  EXPECT_FALSE(direct::is_systems_own("sftp")) << "no ssh beside it";
  support::fs::copy_file("/usr/bin/true", directory / "ssh");
  EXPECT_TRUE(direct::is_systems_own("sftp"));
  write_file(directory / "sftp", "#!/bin/sh\n");
  EXPECT_FALSE(direct::is_systems_own("sftp")) << "a script";
  setenv("PATH", path.c_str(), 1);
}

class Direct : public Conformance {
 protected:
  Direct() {
    trace_ = true;
    retries_ = 2;
    for (int i = 0; contents_.size() < (1 << 20); ++i) contents_ += std::to_string(i) + "\n";
  }

  // How often `part` was said in the protocol, from that place in the journal on.
  int said(const std::string& part, std::size_t from = 0) const {
    int times = 0;
    for (std::size_t at = from; (at = journal_.find(part, at)) != journal_.npos; ++at) ++times;
    return times;
  }

  // Waits until the command under way is to be repeated; where the journal goes on from there.
  std::size_t lose_session() {
    const std::string again = "starting it again";
    while (client_->busy() && said(again) == 0) client_->pump(milliseconds(5));
    return journal_.find(again);
  }

  std::vector<std::string> open_remote_files() const {
    std::vector<std::string> open;
    for (const pid_t server : sessions()) {
      const support::fs::path files = "/proc/" + std::to_string(server) + "/fd";
      for (const auto& entry : support::fs::directory_iterator(files)) {
        std::error_code gone;
        const std::string target = support::fs::read_symlink(entry, gone);
        if (target.starts_with(remote_.string() + "/")) open.push_back(target);
      }
    }
    return open;
  }

  std::string contents_;
};

TEST_P(Direct, AnAtomicUploadReplacesAFileAsAWhole) {
  atomic_ = true;
  struct Row {
    const char *fault, *name, *told;
  };
  const Row rows[] = {{"none", "file", ""},
                      {"none", "link", ""},
                      {"none", "new", ""},
                      {"full 0", "file", "refuses to write: failure"},
                      {"full 522240", "link", "refuses to write: failure"},
                      {"full 522240", "new", "refuses to write: failure"},
                      {"hole 400000", "file", "refuses to write: failure"}};
  write_file(local_, contents_);
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.fault) + ' ' + row.name);
    const bool good = row.told[0] == '\0';
    support::fs::remove_all(remote_ / "sub");
    support::fs::create_directory(remote_ / "sub");
    write_file(remote_ / "sub/target", "old");
    support::fs::permissions(remote_ / "sub/target", support::fs::perms(0604));
    support::fs::remove(remote_ / "file");
    support::fs::remove(remote_ / "link");
    support::fs::remove(remote_ / "new");
    support::fs::create_hard_link(remote_ / "sub/target", remote_ / "file");
    support::fs::create_symlink("sub/target", remote_ / "link");
    connect(kFaultyServer + " " + row.fault);
    EXPECT_EQ(put(row.name), good ? kPrompt : "failed") << told();
    EXPECT_TRUE(tells(row.told) && !tells("may be incomplete")) << told();
    EXPECT_EQ(exists(remote_ / "new"), good && row.name == std::string("new"));
    const std::string old = exists(remote_ / row.name) ? "old" : "";
    EXPECT_TRUE(read_file(remote_ / row.name) == (good ? contents_ : old));
    EXPECT_TRUE(support::fs::is_symlink(remote_ / "link"));
    for (const char* name : {"file", "link"}) {
      EXPECT_EQ(support::fs::status(remote_ / name).permissions(), support::fs::perms(0604))
          << name;
    }
    for (const auto& entry : support::fs::recursive_directory_iterator(remote_)) {
      EXPECT_EQ(entry.path().string().find(".fileref-"), std::string::npos) << entry.path();
    }
  }
}

TEST_P(Direct, AnAtomicUploadIsRepeatedWithoutTraces) {
  atomic_ = true;
  write_file(remote_ / "file", "old");
  write_file(local_, contents_);
  connect(kFaultyServer + " delay 20");
  ASSERT_EQ(client_->send("put \"" + local_ + "\" \"file\"\n"), kSuccess);
  while (said(" WRITE ") == 0) client_->pump(milliseconds(5));
  client_->kill();
  lose_session();
  EXPECT_EQ(read_file(remote_ / "file"), "old");
  EXPECT_EQ(answer(), kPrompt) << told();
  EXPECT_TRUE(read_file(remote_ / "file") == contents_);
  EXPECT_EQ(std::distance(support::fs::directory_iterator(remote_), {}), 1);
}

// Interrupted behind every request, and told of where that could not be helped.
TEST_P(Direct, AnInterruptedAtomicUploadLeavesNothing) {
  atomic_ = true;
  write_file(local_, contents_);
  bool interrupted = false;
  interrupts_ = [&interrupted] { return interrupted; };
  for (int last = 1, requests = last; requests >= last; ++last) {
    SCOPED_TRACE(last);
    write_file(remote_ / "file", "old");
    interrupted = false;
    connect(kFaultyServer + " delay 5");
    journal_.clear();
    requests = 0;
    heed_ = [&](std::string_view line) {
      const bool asks = line.starts_with("> ") && line.find(" put ") == line.npos;
      interrupted = interrupted || (asks && ++requests == last);
    };
    const std::string outcome = put("file");
    EXPECT_EQ(outcome, interrupted ? "failed" : kPrompt) << told();
    heed_ = {};
    client_.reset();
    const std::string now = read_file(remote_ / "file");
    EXPECT_TRUE(now == "old" || (now == contents_ && said("posix-rename") > 0));
    EXPECT_EQ(std::distance(support::fs::directory_iterator(remote_), {}), 1) << journal_;
    EXPECT_EQ(said("may be left"), 0) << journal_;
  }
}

TEST_P(Direct, ALostDownloadGoesOnWhereItStopped) {
  enum class Change { kNone, kSize, kTime, kOpened };
  for (const Change change : {Change::kNone, Change::kSize, Change::kTime, Change::kOpened}) {
    SCOPED_TRACE(static_cast<int>(change));
    journal_.clear();
    std::string now = contents_;
    write_file(remote_ / "file", now);
    if (change != Change::kNone) now.front() = 'x';
    if (change != Change::kTime && change != Change::kNone) now += "longer";
    heed_ = [&](std::string_view line) {
      const bool opens = line.find(" OPEN ") != line.npos && said(" OPEN ") == 2;
      if (change == Change::kOpened && opens) write_file(remote_ / "file", now);
    };
    connect(kFaultyServer + " drop 1000000");
    ASSERT_EQ(client_->send("get \"file\" \"" + local_ + "\"\n"), kSuccess);
    const std::size_t then = lose_session();
    if (change == Change::kSize || change == Change::kTime) write_file(remote_ / "file", now);
    const auto time = support::fs::file_time_type::clock::now() + std::chrono::minutes(1);
    if (change == Change::kTime) support::fs::last_write_time(remote_ / "file", time);
    EXPECT_EQ(answer(), kPrompt) << told();
    EXPECT_EQ(said("> 0 +", then), change == Change::kNone ? 0 : 1) << "reads at the beginning";
    EXPECT_GE(said("> 783360 +", then), 1);
    EXPECT_TRUE(read_file(local_) == now);
  }
}

// Of which one is not to be read, one is a directory, and one is gone since.
TEST_P(Direct, AFileThatIsFetchedAheadHasItsOrdinaryOutcome) {
  for (const char* name : {"1.csv", "2.csv", "3.csv", "5.csv", "6.csv", "9.txt"}) {
    write_file(remote_ / name, name);
  }
  support::fs::create_directory(remote_ / "4.csv");
  support::fs::permissions(remote_ / "3.csv", support::fs::perms(0));
  for (const bool by_pattern : {true, false}) {
    write_file(remote_ / "5.csv", "5.csv");
    if (!by_pattern) expected_ = {"1.csv", "2.csv", "3.csv", "4.csv", "5.csv", "6.csv"};
    connect(kAnotherUser + server());
    journal_.clear();
    if (by_pattern) ask("ls *.csv");
    support::fs::remove(remote_ / "5.csv");
    for (const char* name : {"1.csv", "2.csv", "6.csv"}) {
      SCOPED_TRACE(name);
      EXPECT_EQ(get(name), kPrompt) << told();
      EXPECT_EQ(read_file(local_), name);
      EXPECT_EQ(said(std::string("OPEN \"") + remote_.string() + "/" + name), 1);
      if (name[0] != '2') continue;
      EXPECT_EQ(get("3.csv"), kRefused);
      EXPECT_TRUE(tells("permission denied")) << told();
      EXPECT_EQ(get("4.csv"), kRefused);
      EXPECT_TRUE(tells("not a regular file")) << told();
      EXPECT_EQ(get("5.csv"), kRefused);
      EXPECT_TRUE(tells("no such file")) << told();
    }
    EXPECT_EQ(said("9.txt\""), 0);
  }
}

// That it is a file need not be asked again, and counts for that moment only.
TEST(DirectSession, KnowsWhichFileOfHowManyItIs) {
  using Place = std::pair<std::size_t, std::size_t>;
  direct::Session session;
  session.listed = DirectoryListing::empty();
  for (const char* name : {"b.x", "a.x", ".h.x", "c"}) session.listed->add(name, {'-'});
  session.listed->sort();
  const auto place = [&](const char* name) {
    const auto [number, files] = session.place_of(name);
    return Place(number, files);
  };
  EXPECT_EQ(place("b.x"), Place(1, 1)) << "no pattern was listed";
  session.listed_pattern = "*.x";
  EXPECT_EQ(place("a.x"), Place(1, 2));
  EXPECT_EQ(place("b.x"), Place(2, 2));
  EXPECT_EQ(place("none"), Place(1, 1));
  session.expected = {"x", "y", "c"};
  EXPECT_EQ(place("c"), Place(3, 3));
}

TEST_P(Direct, AnExpectedFileIsSeenWhenItsDirectoryIsEntered) {
  write_file(remote_ / "file", "data");
  ASSERT_EQ(mkfifo((remote_ / "fifo").c_str(), 0666), 0);
  struct Row {
    const char* name;
    std::string answer, again;
    int looks;
  };
  const Row rows[] = {{"file", kPrompt, kPrompt, 2},
                      {"fifo", kRefused, kRefused, 3},
                      {"missing", kRefused, kRefused, 3}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    expected_ = {row.name};
    journal_.clear();
    connect(server());
    EXPECT_EQ(get(row.name), row.answer);
    EXPECT_EQ(get(row.name), row.again);
    EXPECT_EQ(said(" STAT \"" + (remote_ / row.name).string() + '"'), row.looks);
    EXPECT_EQ(said("[runs "), 1);
    EXPECT_EQ(said("]\n"), row.answer == kPrompt ? 1 : 3) << "each failure is told" << journal_;
  }
  EXPECT_EQ(read_file(local_), "data");
}

// Without a round trip for it, but for a server program of this machine, and where other sessions
// go through ours.
TEST_P(Direct, AnIdleSessionEndsAtOnce) {
  const std::vector<std::string> kNothing{"true"};
  const std::string socket = directory_ / "control", shares = "-o ControlMaster=auto ";
  struct Row {
    std::string options;
    bool waits, stays;
  };
  const Row rows[] = {{"", is_without_ssh(), false},
                      {shares, true, false},
                      {shares + "-o ControlPersist=9", false, true}};
  limits_.close_grace = milliseconds(20'000);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.options);
    support::fs::remove(directory_ / "ended");
    std::string line = client_for("sh -c '" + kServer + "; sleep 3; touch " +
                                  (directory_ / "ended").string() + "'");
    line.insert(5, "-o ControlPath=" + socket + ' ' + row.options + ' ');
    ASSERT_TRUE(launch(line, adapter())) << why_;
    ASSERT_EQ(answer(), kPrompt) << client_->words();
    ASSERT_EQ(ask("cd \"" + remote_.string() + "\""), kPrompt);
    const std::vector<std::string> ssh{"ssh", "-F", "none", "-S", socket};
    const auto with = [&ssh](std::vector<std::string> words) {
      words.insert(words.begin(), ssh.begin(), ssh.end());
      return words;
    };
    const bool is_shared = row.waits && !is_without_ssh();
    support::Program other(
        is_shared ? with({"127.0.0.1", "echo on; sleep 1; echo done"}) : kNothing, "", {});
    EXPECT_TRUE(!is_shared || support::eventually([&] { return other.has_said("on\n"); }));
    client_.reset();
    EXPECT_EQ(exists(directory_ / "ended"), row.waits);
    EXPECT_EQ(other.wait().out, is_shared ? "on\ndone\n" : "");
    EXPECT_EQ(support::run(with({"-O", "exit", "127.0.0.1"})).status == 0, row.stays);
    if (is_without_ssh()) break;
  }
}

TEST_P(Direct, WhatIsFetchedAheadAndNotAskedForIsDropped) {
  for (int i = 0; i < 50; ++i) {
    expected_.push_back("f" + std::to_string(i));
    write_file(remote_ / expected_.back(), std::string(1 << 20, 'x'));
  }
  write_file(remote_ / "other", "other");
  connect(server());
  EXPECT_EQ(get("other"), kPrompt);
  EXPECT_EQ(said("f0\""), 0) << "nothing is fetched ahead of a single file";
  EXPECT_EQ(get("f0"), kPrompt);
  EXPECT_GT(said(" OPEN "), 2);
  EXPECT_LE(said(" OPEN "), 2 + 16) << "at most 16 MiB";
  write_file(local_, "new");
  EXPECT_EQ(put("f1"), kPrompt);
  EXPECT_EQ(get("f1"), kPrompt);
  EXPECT_EQ(read_file(local_), "new") << "not what it held before";
  write_file(remote_ / "f2", "newer");
  ask("ls ");
  EXPECT_EQ(get("f2"), kPrompt);
  EXPECT_EQ(read_file(local_), "newer");
  EXPECT_EQ(get("other"), kPrompt);
  EXPECT_EQ(read_file(local_), "other");
  EXPECT_TRUE(support::eventually(
      [&] { return ask("cd \".\"") == kPrompt && open_remote_files().empty(); }));
}

INSTANTIATE_TEST_SUITE_P(, Direct, testing::Values(Way::kDirectDirectly, Way::kDirectOverSsh),
                         Conformance::name);

}  // namespace
}  // namespace fileref::runtime
