// Directories as libraries of members.
#include <sys/stat.h>

#include "tests/end_to_end/command_fixture.h"
#include "tests/support/hostile_names.h"

namespace fileref {
namespace {

class Members : public CommandTest {};

TEST_F(Members, EveryNameComesOnceWithItsKindAndCanBeRead) {
  support::fs::create_directory(remote("odd"));
  std::string expected;
  bool directory = false;
  for (const std::string& name : hostile_names()) {
    if (name.front() == '.') continue;  // hidden, as the client hides them
    directory = !directory;
    const path place = remote("odd") / name;
    if (directory) {
      support::fs::create_directory(place);
      support::write_file(place / "inside", "x");
    } else {
      support::write_file(place, "in " + name + "\n");
    }
    expected += name + (directory ? "\tdirectory\n" : "\tfile\n");
  }
  const support::Outcome listed = fileref({"members", "--kind", local("odd")});
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out, expected);
  for (const std::string& name : hostile_names()) {
    if (!support::fs::is_regular_file(remote("odd") / name)) continue;
    const support::Outcome read = fileref({"read", local("odd"), "--member", name});
    EXPECT_EQ(read.out, "in " + name + "\n") << name << read.err;
  }
}

// What is neither a plain file nor a plain directory must not lead the session astray.
TEST_F(Members, OddKindsLeaveTheSessionWhereItIs) {
  const path root = server_->root() / "kinds";
  for (const char* name : {"", "closed", "real"}) support::fs::create_directory(root / name);
  support::write_file(root / "zz_last", "the right one\n");
  support::write_file(root / "real/zz_last", "a wrong one\n");
  support::fs::create_symlink("real", root / "link");
  support::fs::create_symlink("nowhere", root / "dangling");
  mkfifo((root / "fifo").c_str(), 0644);
  server_->give_to_user(server_->root());
  support::fs::permissions(root / "closed", support::fs::perms::none);
  const support::Outcome listed =
      fileref({"members", "--kind", server_->url("kinds"), "-o", server_->options()});
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out,
            "closed\tdirectory\ndangling\tfile\nfifo\tfile\nlink\tdirectory\nreal\tdirectory\n"
            "zz_last\tfile\n");
  const support::Outcome read =
      fileref({"read", server_->url("kinds"), "-o", server_->options(), "--member", "zz_last"});
  EXPECT_EQ(read.out, "the right one\n") << read.err;
  support::fs::permissions(root / "closed", support::fs::perms(0755));
}

TEST_F(Members, AreWrittenReadAndNamedWithTheirType) {
  support::fs::create_directory(remote("lib"));
  const std::string lib = local("lib");
  const auto member = [&](const char* command, const char* name, const char* type) {
    std::vector<std::string> words = {command, lib, "--member", name};
    if (*type != '\0') words.insert(words.end(), {"--type", type});
    return fileref(words, "text\n");
  };
  EXPECT_EQ(member("write", "report", "CSV").status, 0);
  EXPECT_EQ(support::read_file(remote("lib/report.CSV")), "text\n");
  EXPECT_EQ(member("read", "report", "CSV").out, "text\n");
  EXPECT_EQ(member("write", "whole.txt", "CSV").status, 0);
  EXPECT_EQ(member("write", "plain", "").status, 0);
  EXPECT_EQ(member("read", "none", "").status, 1);
  EXPECT_EQ(fileref({"members", "--split", lib}).out, "plain\t\nreport\tCSV\nwhole\ttxt\n");
  EXPECT_EQ(fileref({"members", "--json", "--kind", lib}).out.substr(0, 59),
            "[\n  {\n    \"name\": \"plain\",\n    \"kind\": \"file\"\n  },\n  {\n    ");
  EXPECT_EQ(fileref({"members", local("none")}).status, 1);
  EXPECT_EQ(fileref({"members", local("lib/plain")}).status, 1);
}

// A directory that the session cannot look into is not one that is missing, for either client.
TEST_F(Members, ExistenceOverSsh) {
  support::fs::create_directory(server_->root() / "closed");
  support::write_file(server_->root() / "file", "x\n");
  server_->give_to_user(server_->root());
  support::fs::permissions(server_->root() / "closed", support::fs::perms::none);
  const struct {
    const char* name;
    int status;
    const char* out;
  } cases[] = {
      {"file", 0, ""},          {"FILE", 0, "yes, as file\n"}, {"none", 1, "no\n"},
      {"no/such/f", 1, "no\n"}, {"closed/f", 3, ""},           {"closed/no/f", 3, ""},
  };
  for (const auto& c : cases) {
    for (const std::string& way : {server_->options(), server_->options_for_psftp()}) {
      const support::Outcome outcome = fileref({"exists", server_->url(c.name), "-o", way});
      EXPECT_EQ(outcome.status, c.status) << c.name << outcome.err;
      EXPECT_EQ(outcome.out, c.out) << c.name;
    }
  }
  support::fs::permissions(server_->root() / "closed", support::fs::perms(0755));
}

TEST_F(Members, ExistenceIsYesNoOrUnknown) {
  support::write_file(remote("README"), "x\n");
  support::write_file(remote(".hidden"), "x\n");
  const std::string refused =
      "sftp://nobody@127.0.0.1:" + std::to_string(support::free_port()) + "/f";
  const struct {
    std::string target;
    int status;
    const char* out;
  } cases[] = {
      {local("README"), 0, ""},
      {local("readme"), 0, "yes, as README\n"},
      {local(".hidden"), 0, ""},
      {local("none"), 1, "no\n"},
      {local("no/f"), 1, "no\n"},
      {local("no/no/f"), 1, "no\n"},
      {local("README/f"), 1, "no\n"},
      {local("[R]EADME"), 1, "no\n"},
      {local("no such file or directory/f"), 1, "no\n"},
      {refused, 3, ""},
      {"ftp://x", 2, ""},
  };
  for (const auto& c : cases) {
    const support::Outcome outcome = fileref({"exists", c.target});
    EXPECT_EQ(outcome.status, c.status) << c.target << outcome.err;
    EXPECT_EQ(outcome.out, c.out) << c.target;
  }
  for (const std::string& name : hostile_names()) {
    support::write_file(remote(name), "x");
    const support::Outcome outcome = fileref({"exists", local(name), "-o", "LS"});
    EXPECT_EQ(outcome.status, 0) << name << outcome.err;
    EXPECT_EQ(outcome.out, "") << name;
  }
  EXPECT_EQ(fileref({"info", local("README")}).out,
            "Filename: " + remote("README").string() + "\n");
  EXPECT_EQ(fileref({"info", local("")}).out, "Directory: " + remote("").string() + "\n");
}

// NEW makes the directory that is missing, and nothing else.
TEST_F(Members, NewMakesTheDirectory) {
  const std::string root = remote("");
  const struct {
    std::vector<std::string> words;
    int status;
    const char* made;  // below `root`, with the text "x\n"
  } cases[] = {
      {{"write", local("a/f"), "-o", "NEW"}, 0, "a/f"},
      {{"write", local("a/g"), "-o", "NEW"}, 0, "a/g"},
      {{"write", "local:f", "-o", "CD='" + root + "b' NEW"}, 0, "b/f"},
      {{"write", local("it's new/f"), "-o", "NEW"}, 0, "it's new/f"},
      {{"write", local("d"), "--member", "m", "-o", "NEW"}, 0, "d/m"},
      {{"write", local("e/"), "--member", "m", "-o", "NEW"}, 0, "e/m"},
      {{"write", local("none/none/f"), "-o", "NEW"}, 1, nullptr},
      {{"write", local("a/f/f"), "-o", "NEW"}, 1, nullptr},
      {{"write", local("none/f")}, 1, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    const support::Outcome outcome = fileref(c.words, "x\n");
    EXPECT_EQ(outcome.status, c.status) << outcome.err;
    EXPECT_EQ(c.made == nullptr ? "x\n" : support::read_file(root + c.made), "x\n");
  }
  EXPECT_FALSE(support::fs::exists(remote("none")));
  EXPECT_EQ(fileref({"read", local("a/f"), "-o", "NEW"}).out, "x\n");
  EXPECT_EQ(fileref({"exists", local("a/F"), "-o", "NEW"}).out, "yes, as f\n");
}

}  // namespace
}  // namespace fileref
