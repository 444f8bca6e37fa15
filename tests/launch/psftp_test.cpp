// What is PuTTY's client's own.
#include "runtime/name_escape.h"
#include "tests/launch/conformance.h"
#include "tests/support/hostile_names.h"

namespace fileref::runtime {
namespace {

using Names = std::vector<std::string>;

class Psftp : public Conformance {
 protected:
  void make(const Names& names) {
    for (const std::string& name : names) write_file(remote_ / name, "content of " + name);
  }
};

// Each of these names is shown as another, or as two.
TEST_P(Psftp, NoNameIsTakenForAnother) {
  const std::string line = "-rw-r--r--    1 a        b               7 Nov 22 21:25 ";
  struct Case {
    Names names;
    std::string told;  // empty: they are listed
  };
  const Case cases[] = {
      {{"ab", "\xc3\xa4", "\xc3\xa4\xc3\xb6", "\xe2\x82\xac"}, ""},
      {{"ab", "a\007b"}, "\"ab\" whole"},
      {{"\xc3\xa4", "\007\xc3\xa4"}, "\"\xc3\xa4\" whole"},
      {{"\xc3\xa4", "\xc3\xa4\007", "\xc3\xa4\xc3\xb6"}, "\"\xc3\xa4\" whole"},
      {{"\007"}, "\"\" whole"},
      {{"a\n" + line + "b"}, "\"a\" whole"},
      {{"\xc3\xa4", "\xc3\xa4\n" + line + "\xc3\xb6"}, "\"\xc3\xa4\" whole"},
      {{"\xc3\xa4\n" + line + "\xc3\xb6", "\xc3\xb6"}, "\"\xc3\xb6\" whole"},
      {{"\xc3\xa4\n" + line + "\xc3\xb6"}, "whole"},
      {{"\xc3\xa4\npsftp> "}, "\"\xc3\xa4\" whole"},
      {{"\xc3\xa4\nUnable to open it: no such file or directory"}, "\"\xc3\xa4\" whole"},
  };
  connect(kServer);
  for (const Case& c : cases) {
    make(c.names);
    const std::string answer = ask("ls -a ");
    EXPECT_EQ(answer,
              c.told.empty()
                  ? "sftp> ls\n. .. \nab\n\xc3\xa4\n\xc3\xa4\xc3\xb6\n\xe2\x82\xac\n" + kPrompt
                  : "failed");
    EXPECT_TRUE(tells(c.told)) << told() << " lacks " << c.told;
    for (const std::string& name : c.names) support::fs::remove(remote_ / name);
  }
}

// The client shows both directories alike.
TEST_P(Psftp, LeavesADirectoryByTheWayThatItCame) {
  for (const char* name : {"ab", "a\007b", "elsewhere"}) {
    support::fs::create_directories(remote_ / name / "sub");
  }
  support::fs::create_directory_symlink("../elsewhere", remote_ / "a\007b/link");
  make({"ab/file", "a\007b/file"});
  connect(kServer);
  ASSERT_EQ(ask("cd \"a\007b\""), kPrompt);
  for (const char* name : {"sub", "link"}) {
    ASSERT_EQ(ask("cd \"" + std::string(name) + '"'), kPrompt);
    ASSERT_EQ(ask("cd .."), kPrompt) << told();
    EXPECT_EQ(get("file"), kPrompt);
    EXPECT_EQ(read_file(local_), "content of a\007b/file");
  }
}

// It lists only directories that may be read, and takes wildcards in their paths for wildcards.
TEST_P(Psftp, DoesWithoutALookWhereItCannotLook) {
  for (const char* name : {"drop", "list[1]", "list[1]/sub"}) {
    support::fs::create_directory(remote_ / name);
  }
  make({"drop/there", "list[1]/file"});
  support::fs::permissions(remote_ / "drop", support::fs::perms(0333));
  support::fs::permissions(remote_ / "list[1]", support::fs::perms(0777));
  write_file(local_, "data");
  connect(kAnotherUser + kServer);
  EXPECT_EQ(put("drop/new"), kPrompt) << told();
  EXPECT_EQ(put("drop/there"), "failed");
  EXPECT_TRUE(tells("permission denied")) << told();
  EXPECT_EQ(get("drop/there"), kPrompt) << told();
  EXPECT_EQ(put("list[1]/new"), kPrompt) << told();
  EXPECT_EQ(get("list[1]/file"), kPrompt) << told();
  EXPECT_EQ(get("list[1]/sub"), kRefused) << told();
  EXPECT_EQ(put("list[1]/sub"), "failed") << told();
  EXPECT_EQ(ask("ls list\\[1\\]"), "failed");
  EXPECT_TRUE(tells("enter it first")) << told();
  ASSERT_EQ(ask("cd \"list[1]\""), kPrompt);
  EXPECT_EQ(ask("ls *e*"), "sftp> ls\n. .. \nfile\nnew\n" + kPrompt);
}

// On a server that opens every directory, and tells when it is read.
TEST_P(Psftp, EntersNoDirectoryThatIsNotThere) {
  for (const char* name : {"sub", "sub/in"}) support::fs::create_directory(remote_ / name);
  make({"file", "sub/file"});
  connect(kFaultyServer + " absent");
  EXPECT_EQ(ask("cd \"nope\""), kNotThere);
  EXPECT_EQ(ask("cd \"" + remote_.string() + "/nope\""), kNotThere);
  EXPECT_TRUE(tells("no such file or directory")) << told();
  EXPECT_EQ(get("file"), kPrompt);
  ASSERT_EQ(ask("cd \"sub\""), kPrompt);
  EXPECT_EQ(ask("cd \"nope\""), kNotThere);
  EXPECT_EQ(ask("ls "), "sftp> ls\n. .. \nfile\nin\n" + kPrompt);
  ASSERT_EQ(ask("cd \"in\""), kPrompt);
  ASSERT_EQ(ask("cd .."), kPrompt);
  EXPECT_EQ(get("file"), kPrompt);
  EXPECT_EQ(read_file(local_), "content of sub/file");
  EXPECT_EQ(put("../nope/file"), "failed");
}

TEST_P(Psftp, MustNotAsk) {
  const std::string line = client_for(kServer);
  std::string asking = line;
  asking.erase(asking.find("-batch "), 7);
  EXPECT_FALSE(launch(asking));
  EXPECT_NE(why_.find("give OPTIONS='-batch"), std::string::npos) << why_;
  ASSERT_TRUE(launch(line)) << why_;
  EXPECT_EQ(answer(), kPrompt);
}

TEST_P(Psftp, RunsABatchToItsEnd) {
  const std::string batch = directory_ / "batch";
  const std::tuple<std::string, std::string, int> cases[] = {
      {"pwd\n", "end of output", 0},
      {"get /no/such/file\npwd\n", "failed", 2},
  };
  for (const auto& [commands, end, status] : cases) {
    write_file(batch, commands);
    ASSERT_TRUE(launch("psftp -b " + batch + client_for(kServer).substr(5))) << why_;
    std::string output, last;
    while ((last = answer()) != end) ASSERT_FALSE((output += last).empty());
    EXPECT_EQ(output.find("Remote directory is /") != output.npos, status == 0) << output;
    EXPECT_EQ(client_->exit_status(), status) << commands;
    EXPECT_EQ(tells("open for read: no such file"), status != 0) << told();
  }
}

INSTANTIATE_TEST_SUITE_P(, Psftp, testing::Values(Way::kPsftpOverSsh), Conformance::name);

}  // namespace
}  // namespace fileref::runtime
