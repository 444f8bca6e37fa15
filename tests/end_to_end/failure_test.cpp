// Whatever goes wrong ends with status 1, or 2 for a wrong use, one message that names the thing,
// nothing printed and nothing left behind.
#include <sys/mount.h>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {
namespace {

class Failures : public CommandTest {
 protected:
  static std::string faulty(const std::string& fault) {
    return "OPTIONS='-D \"" FILEREF_BUILD_DIRECTORY "/faulty_server " + fault + "\"'";
  }

  // What was printed before it is the beginning of `printed`, and not all of it.
  void expect_failure(const support::Outcome& outcome, const std::vector<std::string>& said,
                      int status = 1, const std::string& printed = "") {
    EXPECT_EQ(outcome.status, status);
    EXPECT_TRUE(printed.starts_with(outcome.out) && (printed.empty() || outcome.out != printed))
        << outcome.out.size() << " bytes";
    for (const std::string& text : said) {
      EXPECT_NE(outcome.err.find(text), std::string::npos)
          << "missing: " << text << "\nin: " << outcome.err;
    }
    // One block: its first line begins at the margin and no other does.
    EXPECT_EQ(outcome.err.find("fileref: "), 0u) << outcome.err;
    std::istringstream lines(outcome.err);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) EXPECT_EQ(line.substr(0, 2), "  ") << outcome.err;
  }
};

struct Case {
  const char* name;
  std::vector<std::string> words;
  std::vector<std::string> said;
  int status = 1;
};

TEST_F(Failures, OfTheRequest) {
  support::write_file(remote("plain"), "one\ntwo\n");
  support::write_file(remote("long"), std::string(300, 'x') + "\n");
  support::fs::create_directory(remote("folder"));
  const std::string plain = local("plain");
  const std::string refused = "sftp://nobody@127.0.0.1:" + std::to_string(support::free_port());
  const std::vector<Case> cases = {
      {"file missing", {"read", local("none")}, {"cannot read", "none", "0x80000805"}},
      {"directory missing", {"read", local("no/file")}, {"remote/no", "0x80000805"}},
      {"a directory", {"read", local("folder")}, {"folder"}},
      {"write over a directory", {"write", local("folder")}, {"folder"}},
      {"write into a missing directory", {"write", local("no/file")}, {"remote/no"}},
      {"host unknown", {"read", "sftp://no-such-host.invalid/f"}, {"no host of that name"}},
      {"refused", {"read", refused + "/f"}, {"nothing listens at that host", "127.0.0.1"}},
      {"no answer",
       {"ls", local(""), "-o", faulty("mute"), "--start-limit", "0.2"},
       {"start limit of 200 ms", "--start-limit", "check host and port"}},
      {"shell prints",
       {"read", plain, "-o", "OPTIONS='-D \"/bin/echo Welcome back\"'"},
       {"something else than SFTP arrives from the server: \"Welcome back\""}},
      {"file server that does nothing",
       {"read", plain, "-o", "OPTIONS='-D /bin/false'"},
       {"exit status 1", "file server program did not start"}},
      {"no file server",
       {"read", plain, "-o", "OPTIONS='-D /no/such'"},
       {"cannot be run", "/no/such"}},
      {"client not in PATH", {"read", plain, "-o", "PATH='sfpt'"}, {"\"sfpt\"", "install it"}},
      {"no such option of the client",
       {"read", plain, "-o", "OPTIONS='-Z'"},
       {"does not know a word of OPTIONS"}},
      {"client missing", {"read", plain, "-o", "PATH='/no/such/sftp'"}, {"/no/such/sftp"}},
      {"client does nothing", {"read", plain, "-o", "PATH='/bin/false'"}, {"cannot read"}},
      {"record too long",
       {"read", local("long"), "-o", "LRECL=100"},
       {"Record 1 is longer than the record length of 100 bytes", "LRECL=", "RECFM=S"}},
      {"no whole characters in a record",
       {"read", plain, "-o", "RECFM=F LRECL=3 ENCODING='UTF-16'"},
       {"3 bytes", "UTF-16", "multiple of 2"}},
      {"line too long to be sent", {"write", plain, "-o", "LRECL=3"}, {"Record 1", "RECFM=S"}},
      {"option unknown", {"read", plain, "-o", "LRECL=80 FOO=1"}, {"LRECL=80 FOO=1", "^^^"}, 2},
      {"value of a wrong type", {"read", plain, "-o", "LRECL=abc"}, {"LRECL=abc", "^^^"}, 2},
      {"value unknown", {"read", plain, "-o", "RECFM=U"}, {"RECFM=U", "^"}, 2},
      {"encoding unknown",
       {"read", plain, "-o", "ENCODING='klingon'"},
       {"klingon", "^^^^^^^^^"},
       2},
      {"value missing", {"read", plain, "-o", "USER="}, {"USER=", "^"}, 2},
      {"quote open", {"read", plain, "-o", "USER='u"}, {"USER='u", "^"}, 2},
      {"record length of no use", {"read", plain, "-o", "LRECL=-1"}, {"1 to 2147483647", "^^"}, 2},
      {"host too long", {"read", "sftp://" + std::string(128, 'h') + "/f"}, {"hhhh"}, 2},
      {"command line too long",
       {"read", plain, "-o", "OPTIONS='" + std::string(5000, 'x') + "'"},
       {"4095 bytes", "0x80000805"}},
      {"name that cannot be sent", {"read", local("two\nlines")}, {"two\\x0alines"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    expect_failure(fileref(c.words, "data\n"), c.said, c.status);
  }
  // A batch prints what the client says.
  EXPECT_NE(fileref({"batch", remote("plain"), refused}).err.find("nothing listens"),
            std::string::npos);
}

TEST_F(Failures, AFileIsVerifiedBeforeItReplacesAnother) {
  support::fs::create_directory(remote("day"));
  support::write_file(remote("day/file"), "old");
  const std::vector<std::string> words = {"write", local("day/file"), "--atomic", "--verify", "-o"};
  const auto with = [&](const std::string& options) {
    std::vector<std::string> all = words;
    all.push_back(options);
    return all;
  };
  expect_failure(fileref(with(faulty("garble 2")), "new data\n"), {"other data arrived"}, 1);
  EXPECT_EQ(support::read_file(remote("day/file")), "old");
  EXPECT_EQ(fileref({"ls", "-a", local("day/")}).out, "file\n");
  EXPECT_EQ(fileref(with(faulty("none")), "new data\n").status, 0);
  EXPECT_EQ(support::read_file(remote("day/file")), "new data\n");
}

TEST_F(Failures, OfTheLimitsOfTheSystem) {
  for (const char* name : {"a1", "a2", "a3"}) {
    support::write_file(remote(name), std::string(50'000, 'x'));
  }
  struct {
    const char* limit;
    std::string words;
    std::vector<std::string> said;
  } cases[] = {
      {"-f 100", "write " + local("new") + " -o RECFM=S </dev/zero", {"File too large", "ulimit"}},
      {"-f 10", "read --whole " + local("a1"), {"broke off: cannot write", "File too large"}},
      {"-f 10", "read --client openssh " + local("a1"), {"the client said:", "File too large"}},
      {"-f 100",
       "read '" + local("a*") + "' -o LRECL=50000 >" + (directory_ / "out").string(),
       {"standard output: File too large"}},
#ifndef FILEREF_SANITIZED  // what would not start so
      {"-v 1500000", "write " + local("new") + " </dev/zero", {"Record 1 is longer", "RECFM=S"}},
      {"-v 1500000",
       "write " + local("new") + " -o LRECL=2147483647 </dev/zero",
       {"enough memory"}},
      {"-v 1500000", "read " + local("a1") + " -o 'RECFM=F LRECL=2147483647'", {"enough memory"}},
#endif
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words);
    const std::string line = std::string("ulimit ") + c.limit + "; exec " + command() + " ";
    expect_failure(support::run({"bash", "-c", line + c.words}, "", environment()), c.said);
  }
  EXPECT_FALSE(support::fs::exists(remote("new")));
}

// What could not be sent stays where it is, when it can be kept nowhere else.
TEST_F(Failures, UnsentDataIsNeverDestroyed) {
  support::fs::create_directory(remote("folder"));
  for (const char* home : {"HOME=", "HOME=/proc/none"}) {
    const support::Outcome outcome =
        support::run({"env", "-u", "XDG_STATE_HOME", home, command(), "write", local("folder")},
                     "precious", {{"TMPDIR", temporary_}});
    const std::string kept = "kept in " + temporary_;
    expect_failure(outcome, {kept});
    const std::size_t at = outcome.err.find(kept) + 8;
    const path place = outcome.err.substr(at, outcome.err.find('\n', at) - at);
    EXPECT_EQ(support::read_file(place), "precious") << place;
    EXPECT_EQ(fileref({"exists", local("folder")}).err, "");
    EXPECT_TRUE(support::fs::exists(place)) << "swept away";
    support::fs::remove_all(place.parent_path());
  }
}

TEST_F(Failures, AFileThatCannotBeSentStaysWhereItIs) {
  support::fs::create_directory(remote("folder"));
  const std::string data = directory_ / "data";
  support::write_file(data, "precious");
  const std::string words = "exec " + command() + " write " + local("folder") + " <" + data;
  expect_failure(support::run({"sh", "-c", words}, "", environment()), {"kept in " + data});
  EXPECT_EQ(support::read_file(data), "precious");
  EXPECT_TRUE(support::fs::is_empty(directory_ / "state"));
}

TEST_F(Failures, AKilledUploadIsFoundAndToldOf) {
  const auto directories = [this] { return support::fs::recursive_directory_iterator(temporary_); };
  support::Program program = start({"write", local("new"), "-o", faulty("delay 300")}, "precious");
  EXPECT_TRUE(support::eventually([&] {
    return std::any_of(begin(directories()), end(directories()),
                       [](const auto& entry) { return entry.path().extension() == ".unsent"; });
  }));
  kill(program.pid(), SIGKILL);
  program.wait();
  support::write_file(remote("whole"), "x\n");
  const support::Outcome next = fileref({"read", local("whole")});
  const std::size_t at = next.err.find(directory_ / "state");
  ASSERT_NE(at, std::string::npos) << next.err;
  EXPECT_EQ(support::read_file(next.err.substr(at, next.err.find('\n', at) - at)), "precious");
  EXPECT_EQ(next.status, 0) << "what it asks for is whole";
  EXPECT_EQ(fileref({"exists", local("other")}).err, "");
}

TEST_F(Failures, SecretsAreNotShown) {
  const support::Outcome outcome =
      fileref({"read", local("f"), "-o", "OPTIONSX='sesame' FOO", "--log", directory_ / "log"});
  expect_failure(outcome, {"FOO", "OPTIONSX=******** FOO"}, 2);
  EXPECT_EQ(outcome.err.find("sesame"), std::string::npos);
  support::write_file(remote("f"), "x\n");
  fileref({"read", local("f"), "-o", "OPTIONSX='-o User=sesame'", "--log", directory_ / "log"});
  const std::string log = support::read_file(directory_ / "log");
  support::Program mute =
      start({"read", local("f"), "-oOptionsX='-o User=sesame' " + faulty("mute")});
  EXPECT_TRUE(support::eventually([&] { return !support::children_of(mute.pid()).empty(); }));
  EXPECT_EQ(support::read_file("/proc/" + std::to_string(mute.pid()) + "/cmdline").find("sesame"),
            std::string::npos);
  kill(mute.pid(), SIGTERM);
  mute.wait();
  EXPECT_NE(log.find("OPTIONSX=********"), std::string::npos) << log;
  EXPECT_EQ(log.find("sesame"), std::string::npos) << log;
}

// Nor where the client repeats them, nor in an argument that was read from a file.
TEST_F(Failures, SecretsAreBlottedOutOfWhatTheClientSays) {
  const std::string log = directory_ / "log", file = directory_ / "options";
  support::write_file(file, "OPTIONSX='-i hunter2\n-o NoSuchOption=sesame'\n");
  for (const std::string& option : {"@" + file, support::read_file(file)}) {
    const auto outcome = fileref({"read", server_->url("f"), "-o", option, "--log", log});
    expect_failure(outcome, {"******** not accessible", "Bad configuration option"});
    for (const std::string& text : {outcome.err, support::read_file(log)}) {
      EXPECT_EQ(text.find("hunter2"), std::string::npos) << text;
      EXPECT_EQ(text.find("sesame"), std::string::npos) << text;
    }
  }
  support::write_file(file, "OPTIONSX='-i hunter2'\n" + server_->options("other_key"));
  const auto outcome = fileref({"read", server_->url("f"), "-o", "@" + file, "--log", log});
  expect_failure(outcome, {"********", "login"});
  EXPECT_EQ((outcome.err + support::read_file(log)).find("hunter2"), std::string::npos);
  EXPECT_EQ(fileref({"read", local("f"), "-o", "@/no/such"}).status, 2);
  EXPECT_EQ(fileref({"read", local("f"), "-o", "@/dev/zero"}).status, 2);
}

TEST_F(Failures, OfPermissionsAndLogins) {
  support::write_file(server_->root() / "secret", "x\n");
  support::fs::create_directory(server_->root() / "closed");
  server_->give_to_user(server_->root());
  support::fs::permissions(server_->root() / "secret", support::fs::perms::none);
  support::fs::permissions(server_->root() / "closed", support::fs::perms(0555));
  // The server is known by another key.
  std::string other = support::read_file(server_->file("other_key.pub"));
  support::write_file(server_->file("changed_hosts"),
                      "[127.0.0.1]:" + std::to_string(server_->port()) + " " + other);
  const auto with = [this](const char* command, const char* name, const std::string& options) {
    return std::vector<std::string>{command, server_->url(name), "-o", options};
  };
  const std::string good = server_->options();
  const std::vector<Case> cases = {
      {"not readable", with("read", "secret", good), {"secret", "permission denied"}},
      {"not writable", with("write", "closed/f", good), {"closed/f", "permission denied", "kept"}},
      {"login refused",
       with("read", "f", server_->options("other_key")),
       {"the login was refused: check the user name and the key"}},
      {"host key unknown",
       with("read", "f", server_->options("user_key", "no_such_file")),
       {"Host key verification failed", "the key of the host is not known here"}},
      {"host key changed",
       with("read", "f", server_->options("user_key", "changed_hosts")),
       {"the host shows another key"}},
      {"no SFTP service",
       {"ls", server_->url(""), "-o", good, "-o", "OPTIONSX='-s nosuch'"},
       {"the server has no SFTP service"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    expect_failure(fileref(c.words, "data\n"), c.said);
  }
  // What could not be sent is kept, and the message says where.
  int kept = 0;
  for (const auto& entry : support::fs::recursive_directory_iterator(directory_ / "state")) {
    kept += entry.is_regular_file() && support::read_file(entry.path()) == "data\n";
  }
  EXPECT_EQ(kept, 1);
  support::fs::permissions(server_->root() / "closed", support::fs::perms(0755));
}

// A transfer that was cut off is never taken for a whole one, even where the client thinks so.
TEST_F(Failures, OfABadServer) {
  const std::string data = random_bytes(2'000'000, 3);
  support::write_file(remote("data"), data);
  const std::string target = remote("data");
  const auto with = [](const char* command, const std::string& file, const std::string& fault) {
    return std::vector<std::string>{
        command, "local:" + file, "-o", "RECFM=S " + faulty(fault), "--retries", "0"};
  };
  const std::vector<Case> cases = {
      {"connection dropped", with("read", target, "drop 1000000"), {"data"}},
      {"early end of file", with("read", target, "eof 1000000"), {"data", "2000000"}},
      {"read error", with("read", target, "unread 1000000"), {"data"}},
      {"last write refused", with("write", remote("out"), "hole 1999999"), {"out", "kept"}},
  };
  for (Case c : cases) {
    SCOPED_TRACE(c.name);
    expect_failure(fileref(c.words, random_bytes(2'000'000, 4)), c.said, 1, data);
    if (c.words.front() == "read") c.words.emplace_back("--whole");
    expect_failure(fileref(c.words, random_bytes(2'000'000, 4)), c.said);
  }
  // Many a client says nothing of a block that was refused in the middle.
  auto words = with("write", remote("hole"), "hole 700000");
  words.emplace_back("--verify");
  expect_failure(fileref(words, random_bytes(2'000'000, 4)), {"\"hole\" failed: ", "kept"});
}

// The client, or the server of a client program, ends in the middle of a download.
TEST_F(Failures, OfAKilledProcess) {
  support::write_file(remote("data"), random_bytes(2'000'000, 3));
  for (const bool kill_server : {false, true}) {
    SCOPED_TRACE(kill_server ? "server" : "client");
    support::Program program =
        start({"read", "--whole", local("data"), "-o", "RECFM=S " + faulty("stall 300000"),
               "--client", kill_server ? "openssh" : "direct"});
    pid_t victim = 0;
    auto finds_another = [&, last = pid_t{0}]() mutable {
      const auto clients = support::children_of(program.pid());
      if (clients.empty() || support::fs::is_empty(temporary_)) return false;
      const auto servers = support::children_of(clients.front());
      if (servers.empty()) return false;
      victim = kill_server ? servers.front() : clients.front();
      // In the middle: part of the data is there.
      for (const auto& entry : support::fs::recursive_directory_iterator(temporary_)) {
        if (!entry.is_regular_file() || entry.file_size() < 100'000 || victim == last) continue;
        last = victim;
        return true;
      }
      return false;
    };
    for (int attempts = 0; attempts < 3; ++attempts) {
      ASSERT_TRUE(support::eventually(std::ref(finds_another)));
      kill(victim, SIGKILL);
    }
    expect_failure(program.wait(), {"data", "tried 3 times"});
  }
}

TEST_F(Failures, OfTheLocalDisk) {
  support::write_file(remote("data"), random_bytes(8'000'000, 5));
  const std::string small = directory_ / "small";
  support::fs::create_directory(small);
  if (mount("tmpfs", small.c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "a small disk can be mounted by root only";
  }
  temporary_ = small;
  expect_failure(fileref({"read", "--whole", local("data"), "-o", "RECFM=S"}),
                 {"No space left on device"});
  EXPECT_TRUE(fileref({"read", local("data"), "-o", "RECFM=S"}).out == random_bytes(8'000'000, 5));
  expect_failure(fileref({"write", local("out"), "-o", "RECFM=S"}, random_bytes(8'000'000, 6)),
                 {"No space left on device"});
  EXPECT_FALSE(support::fs::exists(remote("out")));
  EXPECT_TRUE(support::fs::is_empty(small));
  const std::string from_file = "exec " + command() + " write -o RECFM=S " + local("out") + " <";
  EXPECT_EQ(support::run({"sh", "-c", from_file + remote("data").string()}, "", environment()).err,
            "");
  EXPECT_TRUE(support::read_file(remote("out")) == support::read_file(remote("data")));
  // Once whole it could not be marked as unsent, should the command be killed.
  ASSERT_EQ(mount("", small.c_str(), "", MS_REMOUNT, "nr_inodes=4"), 0);
  expect_failure(fileref({"write", local("out")}, "x\n"), {"No space left on device"});
  temporary_ = "/nonexistent";
  expect_failure(fileref({"read", local("data")}), {"/nonexistent", "TMPDIR"});
  umount(small.c_str());
}

// What a stream that is needed cannot take or give is a failure, and touches no other file.
TEST_F(Failures, OfStandardStreams) {
  support::write_file(remote("f"), "old\n");
  const std::string log = directory_ / "log";
  const struct {
    std::string words;
    int status;
  } cases[] = {
      {"write " + local("f") + " <&-", 1},
      {"read " + local("f") + " >&-", 1},
      {"read " + local("f") + " --log " + log + " >&-", 1},
      {"read " + local("f") + " >/dev/full", 1},
      {"info " + local("f") + " >/dev/full", 1},
      {"info " + local("") + " >&-", 1},
      {"ls " + local("") + " >/dev/full", 1},
      {"members --json " + local("") + " >/dev/full", 1},
      {"exists " + local("none") + " >/dev/full", 3},
      {"--help >/dev/full", 1},
      {"read --help >&-", 1},
      {"--version >/dev/full", 1},
      {"exists " + local("f") + " >&- <&-", 0},
      {"read " + local("f") + " 2>&- >/dev/null", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words);
    const support::Outcome outcome =
        support::run({"sh", "-c", command() + (" " + c.words)}, "new\n", environment());
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.err.starts_with("fileref: "), c.status != 0) << outcome.err;
    EXPECT_EQ(support::read_file(remote("f")), "old\n");
  }
  EXPECT_EQ(support::read_file(log).find("\nold"), std::string::npos);
  const std::string write = command() + " write " + local("f") + " >&- 2>&-";
  EXPECT_EQ(support::run({"sh", "-c", write}, "new\n", environment()).status, 0);
  EXPECT_EQ(support::read_file(remote("f")), "new\n");
}

TEST_F(Failures, WrongUseEndsWithTwo) {
  support::write_file(remote("f"), "x\n");
  const std::vector<Case> uses = {
      {"no command", {}, {"subcommand"}},
      {"no target", {"read"}, {"TARGET", "fileref read --help"}},
      {"command mistyped", {"raed", local("f")}, {"\"raed\": did you mean read?"}},
      {"far from any command", {"xyzzy"}, {"\"xyzzy\"\n"}},
      {"flag mistyped", {"write", local("f"), "--verfy"}, {"\"--verfy\": did you mean --verify?"}},
      {"flag of the program mistyped", {"--verison"}, {"did you mean --version?"}},
      {"flag before the command", {"-q", "read", local("f")}, {"-q"}},
      {"flag unknown", {"read", local("f"), "--no-such-flag"}, {"--no-such-flag"}},
      {"flag with a wrong value", {"read", local("f"), "--retries", "x"}, {"--retries"}},
      {"two targets", {"read", local("f"), "another"}, {"another"}},
      {"flags that exclude each other",
       {"read", local(""), "--name", "f", "--pattern"},
       {"--pattern", "--name"}},
      {"not printable", {"read", local("f"), "\x1B[31m"}, {"\\x1b[31m"}},
      {"other scheme", {"read", "ftp://h/f"}, {"ftp://h/f"}},
      {"no path", {"read", "sftp://h"}, {"names no file"}},
      {"no host", {"read", "sftp:///f"}, {"host"}},
      {"directory", {"read", "sftp://h/dir/"}, {"names no file"}},
      {"port 0", {"read", "sftp://h:0/f"}, {"port"}},
      {"port too large", {"read", "sftp://h:70000/f"}, {"sftp://h:70000/f", "port"}},
      {"password", {"read", "sftp://u:hunter2@h/f"}, {"holds a password"}},
      {"password with a slash", {"read", "sftp://u:hunter2/x@h/f"}, {"no usable port"}},
      {"password, encoded", {"read", "sftp://u%3Ahunter2@h/f"}, {"holds a password"}},
      {"password, no scheme", {"read", "u:hunter2@h:/f"}, {"\"u:********@h:/f\""}},
      {"secret out of place", {"read", local("f"), "OPTIONSX='hunter2'"}, {"OPTIONSX=****"}},
      {"port twice", {"read", "sftp://h:23/f", "-P", "22"}, {"port 23", "-P says 22"}},
      {"port of a flag", {"read", "sftp://h/f", "-P", "22x"}, {"-P 22x"}},
      {"key without a server", {"read", local("f"), "-i", "key"}, {"-i", "names none"}},
      {"empty key", {"read", "sftp://h/f", "-i", ""}, {"-i", "empty"}},
      {"flag as key", {"read", "sftp://h/f", "-i", "-D"}, {"\"./-D\""}},
      {"option as host", {"read", "sftp://-oProxyCommand=x/f"}, {"host"}},
      {"option in user", {"read", "sftp://u%20-oProxyCommand=x@h/f"}, {"user"}},
      {"percent", {"read", "sftp://h/%zz"}, {"%25"}},
      {"log", {"read", local("f"), "--log", "/no/such/place"}, {"/no/such/place"}},
      {"batch from standard input", {"batch", "-", "local:/"}, {"\"-\""}},
      {"batch from a pipe", {"batch", "/dev/full", "local:"}, {"no regular file"}},
      {"no member", {"write", local("new"), "--member", ""}, {"no name of a member"}},
      {"pattern to write to", {"write", local("f[1]")}, {"f[1]", "--literal"}},
      {"CD and a directory", {"read", local("f"), "-o", "CD='/'"}, {"CD='/'", "^^"}},
      {"CD and DIR", {"members", local(""), "-o", "CD='/'"}, {"CD='/'", "^^"}},
      {"NEW and a pattern", {"read", local("new/*"), "-o", "NEW"}, {"NEW", "^^^"}},
      {"NEW and a pattern to write to", {"write", local("new/*"), "-o", "NEW"}, {"NEW", "^^^"}},
  };
  for (const Case& c : uses) {
    SCOPED_TRACE(c.name);
    const support::Outcome outcome = fileref(c.words);
    expect_failure(outcome, c.said, 2);
    EXPECT_EQ(outcome.err.find("hunter2"), std::string::npos) << outcome.err;
  }
  EXPECT_FALSE(support::fs::exists(remote("new"))) << "nothing was done";
}

}  // namespace
}  // namespace fileref
