// Files copied between servers and this machine.
#include <sys/stat.h>

#include <algorithm>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {
namespace {

using support::read_file;
using support::write_file;

class Copy : public CommandTest {
 protected:
  static std::vector<std::string> names_in(const path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : support::fs::directory_iterator(directory)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // A directory on the server.
  static path on_server(const std::string& name) {
    const path directory = server_->root() / name;
    support::fs::create_directory(directory);
    return directory;
  }
  support::Outcome copy(std::vector<std::string> words, const std::string& options) const {
    words.insert(words.begin(), "copy");
    const bool any_server = std::any_of(words.begin(), words.end(), [](const std::string& word) {
      return word.starts_with("sftp://");
    });
    if (any_server) words.insert(words.end(), {"-o", options});
    return fileref(words);
  }
};

// Every way, by every client, and whatever the bytes and names.
TEST_F(Copy, IsEqualByteForByte) {
  const std::vector<std::pair<std::string, std::string>> files = {
      {"a b'\"*.bin", random_bytes(700'001, 1)},
      {"empty.bin", ""},
      {"line.bin", "no\r\nline feed"}};
  const path there = on_server("from");
  support::fs::create_directory(remote("from"));
  for (const auto& [name, bytes] : files) {
    write_file(there / name, bytes);
    write_file(remote("from") / name, bytes);
  }
  const std::string direct = server_->options();
  const std::string here = remote("from/").string();
  const std::vector<std::string> plain = {here + files[0].first, here + "empty.bin",
                                          here + "line.bin"};
  const struct {
    std::vector<std::string> sources;
    std::string options;
    std::vector<std::string> flags;
  } cases[] = {{plain, direct, {}},
               {{"local:" + here + "*.bin"}, direct, {"--atomic"}},
               {{server_->url("from/*.bin")}, direct, {"--verify"}},
               {{server_->url("from/*.bin")}, direct, {"--client", "openssh"}},
               {{server_->url("from/*.bin")}, server_->options_for_psftp(), {}}};
  int turn = 0;
  for (const auto& c : cases) {
    const std::string into = "into" + std::to_string(turn++);
    support::fs::create_directory(remote(into));
    const path into_there = on_server(into);
    server_->give_to_user(server_->root());
    const bool through_psftp = c.options != direct;
    for (const std::string& target :
         {remote(into).string(), "local:" + remote(into).string(), server_->url(into + "/")}) {
      if (through_psftp && target.starts_with("local:")) continue;
      std::vector<std::string> words = c.sources;
      words.push_back(target);
      words.insert(words.end(), c.flags.begin(), c.flags.end());
      const support::Outcome outcome = copy(words, c.options);
      EXPECT_EQ(outcome.status, 0) << testing::PrintToString(words) << outcome.err;
      EXPECT_EQ(outcome.out + outcome.err, "");
      const path made = target.starts_with("sftp") ? into_there : remote(into);
      EXPECT_EQ(names_in(made).size(), files.size());
      for (const auto& [name, bytes] : files) {
        EXPECT_TRUE(read_file(made / name) == bytes) << target << name;
        support::fs::remove(made / name);
      }
    }
  }
}

// What cannot be copied is named, and nothing is lost or left half-done.
TEST_F(Copy, NamesWhatIsNotCopied) {
  on_server("to");
  server_->give_to_user(server_->root());
  const auto put = [&] {
    for (const char* name : {"a", "b", "sub/a"}) {
      support::fs::create_directories(remote(name).parent_path());
      write_file(remote(name), name);
      write_file(server_->root() / path(name).filename(), name);
    }
    support::fs::remove_all(remote("out"));
    support::fs::create_directory(remote("out"));
  };
  put();
  support::fs::create_hard_link(remote("a"), remote("same"));
  support::fs::create_symlink("a", remote("link"));
  support::fs::create_symlink("none", remote("dangling"));
  ASSERT_EQ(mkfifo(remote("fifo").c_str(), 0600), 0);
  const auto here = [&](const std::string& name) { return remote(name).string(); };
  const std::string out = here("out"), a = here("a"), url = server_->url("a");
  const struct {
    std::vector<std::string> words;
    int status;
    std::string said;
    std::vector<std::string> copied;  // into "out"
  } cases[] = {
      {{a, here("none"), here("sub"), local("no*"), here("b"), out}, 1, "/none", {"a", "b"}},
      {{here("sub"), local("sub"), url + "/", out}, 1, "is a directory", {}},
      {{local("sub"), local("b"), out}, 1, "is not a regular file", {"b"}},
      {{server_->url("none"), url, out}, 1, "no such file", {"a"}},
      {{a, here("sub/a"), out}, 1, "copied just now", {"a"}},
      {{here("fifo"), a, out}, 1, "no regular file", {"a"}},
      {{a, a}, 1, "copied onto", {}},
      {{a, local("same")}, 1, "copied onto", {}},
      {{local("link"), a}, 1, "copied onto", {}},
      {{a, here("same"), here("b"), here("")}, 1, "copied onto", {}},
      {{url, url}, 1, "copied onto", {}},
      {{url, a, server_->url("")}, 1, "copied onto", {}},
      {{a, here("fifo")}, 1, "no regular file", {}},
      {{a, here("dangling")}, 1, "not there", {}},
      {{a, here("none/x")}, 1, "/none/", {}},
      {{a, local("none/x")}, 1, "no such file", {}},
      {{a, here("b"), here("none")}, 1, "/none", {}},
      {{local("*"), here("b")}, 1, "no directory", {}},
      {{url, "srv:/x"}, 2, "./srv:/x", {}},
      {{a, "", out}, 2, "empty", {}},
      {{a}, 2, "SOURCE", {}},
      {{a, out, "-i", "key"}, 2, "-i", {}},
      {{a, out, "-o", "DEBUG"}, 2, "go with a server", {}},
      {{url, out, "-o", "RECFM=V"}, 2, "RECFM", {}},
      {{a, local("out/"), "--atomic", "--client", "openssh"}, 1, "direct", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    put();
    const support::Outcome outcome = copy(c.words, server_->options());
    EXPECT_EQ(outcome.status, c.status) << outcome.err;
    EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
    EXPECT_EQ(names_in(remote("out")), c.copied) << outcome.err;
    EXPECT_EQ(names_in(server_->root() / "to").size(), 0U);
    EXPECT_EQ(read_file(remote("sub/a")), "sub/a");
    EXPECT_EQ(read_file(remote("same")), "a");
    EXPECT_EQ(read_file(remote("a")) + read_file(remote("b")), "ab");
  }
}

// A file here is replaced as a whole, behind a link, and keeps its mode.
TEST_F(Copy, ReplacesAFileHereAsAWhole) {
  write_file(remote("new"), std::string(300'000, 'n'));
  write_file(directory_ / "old", "old");
  support::fs::permissions(directory_ / "old", support::fs::perms(0640));
  support::fs::create_symlink("old", directory_ / "link");
  const std::string words = " copy " + local("new") + " " + (directory_ / "link").string();
  const support::Outcome full =
      support::run({"sh", "-c", "ulimit -f 200; exec " + command() + words}, "", environment());
  EXPECT_EQ(full.status, 1);
  EXPECT_NE(full.err.find("cannot write"), std::string::npos) << full.err;
  EXPECT_EQ(read_file(directory_ / "old"), "old");
  const std::vector<std::string> names = names_in(directory_.path());
  EXPECT_EQ(support::run({"sh", "-c", "exec " + command() + words}, "", environment()).status, 0);
  EXPECT_EQ(read_file(directory_ / "old").size(), 300'000U);
  EXPECT_TRUE(support::fs::is_symlink(directory_ / "link"));
  struct stat status {};
  stat((directory_ / "old").c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(names_in(directory_.path()), names);
}

// What could not be sent is where it was, and the message says so.
TEST_F(Copy, ToAServerThatRefusesLosesNothing) {
  const path shut = on_server("shut");
  server_->give_to_user(server_->root());
  support::fs::permissions(shut, support::fs::perms(0555));
  write_file(remote("f"), "data");
  write_file(remote("g"), "data");
  const support::Outcome outcome =
      copy({remote("f"), remote("g"), server_->url("shut")}, server_->options());
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("the data is kept in " + remote("f").string()), std::string::npos)
      << outcome.err;
  EXPECT_NE(outcome.err.find("cannot copy " + remote("g").string()), std::string::npos);
}

// On a terminal alone.
TEST_F(Copy, ShowsWhichFileOfHowManyItIs) {
  write_file(on_server("slow") / "large", std::string(3'000'000, 'x'));
  write_file(server_->root() / "slow/small", "");
  server_->give_to_user(server_->root());
  std::string options = server_->options();
  options.insert(options.size() - 1, " -l 8000");  // a megabyte a second
  const std::vector<std::string> words = {"copy", server_->url("slow/*"), remote(""), "-o",
                                          options};
  const std::string command_line =
      command() + " copy '" + words[1] + "' " + words[2] + " -o \"" + options + "\"";
  const support::Outcome seen = support::run(
      {"script", "-qec", "stty cols 100; " + command_line, "/dev/null"}, "", environment());
  for (const char* part : {" % ", " of 3.0 MB", "B/s", " left", "1 of 2", "large"}) {
    EXPECT_NE(seen.out.find(part), std::string::npos) << part << seen.out;
  }
  EXPECT_EQ(read_file(remote("large")).size(), 3'000'000U);
  EXPECT_EQ(fileref(words).err, "");
}

}  // namespace
}  // namespace fileref
