// Directories as libraries of members.
#include <fcntl.h>
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

// More than is read of standard input at a time, so that lines are cut there.
TEST_F(Members, AreWrittenWholeInEveryFormat) {
  std::string text;
  for (int i = 0; i < 60000; ++i) text += "line " + std::to_string(i) + '\n';
  for (const char* format : {"RECFM=V", "RECFM=S", "RECFM=S LRECL=100"}) {
    EXPECT_EQ(fileref({"write", local(""), "--member", "m", "-o", format}, text).status, 0);
    EXPECT_TRUE(support::read_file(remote("m")) == text) << format;
    EXPECT_TRUE(fileref({"read", local(""), "--member", "m", "-o", format}).out == text) << format;
  }
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

// What is known of a file, by whatever client, is what there is; what is not known is null.
TEST_F(Members, StatusIsToldWithoutFetching) {
  const path root = server_->root() / "status";
  support::fs::create_directory(root);
  support::write_file(root / "-a b", "12345");
  support::fs::permissions(root / "-a b", support::fs::perms(04751));
  support::fs::create_directory(root / "sub");
  support::fs::create_symlink("-a b", root / "link");
  support::fs::create_symlink("none", root / "dangling");
  const timespec times[] = {{86400, 0}, {86400, 0}};
  utimensat(AT_FDCWD, (root / "-a b").c_str(), times, 0);
  server_->give_to_user(server_->root());
  support::fs::permissions(root / "-a b", support::fs::perms(04751));
  const std::string direct = server_->options(), psftp = server_->options_for_psftp();
  const std::string whole = R"("size":5,"modified":"1970-01-02T00:00:00Z","mode":"4751"})";
  const std::string untimed = R"("size":5,"modified":null,"mode":"4751"})";
  const struct {
    std::string name;
    std::vector<std::string> how;
    int status;
    std::string told;
  } cases[] = {
      {"-a%20b", {"-o", direct}, 0, R"("kind":"file","link":false,)" + whole},
      {"link", {"-o", direct}, 0, R"("kind":"file","link":true,)" + whole},
      {"dangling", {"-o", direct}, 0, R"("kind":"link","link":true,"size":4,)"},
      {"sub", {"-o", direct}, 0, R"("kind":"directory","link":false,)"},
      {"sub/", {"-o", direct}, 0, R"("kind":"directory","link":false,)"},
      {"-a%20b", {"-o", direct, "--client", "openssh"}, 0, R"("file","link":null,)" + untimed},
      {"link", {"-o", direct, "--client", "openssh"}, 0, R"("file","link":null,)" + untimed},
      {"sub", {"-o", direct, "--client", "openssh"}, 0, R"("directory","link":null,"size":null)"},
      {"-a%20b", {"-o", psftp}, 0, R"("file","link":null,)" + untimed},
      {"sub", {"-o", psftp}, 0, R"("kind":"directory")"},
      {"none", {"-o", direct}, 1, ""},
      {"none/x", {"-o", direct}, 1, ""},
      {"none", {"-o", direct, "--client", "openssh"}, 1, ""},
      {"none", {"-o", psftp}, 1, ""},
  };
  const auto compact = [](std::string json) {
    std::string text;
    bool quoted = false;
    for (const char c : json) {
      quoted ^= c == '"';
      if (quoted || (c != ' ' && c != '\n')) text += c;
    }
    return text;
  };
  for (const auto& c : cases) {
    std::vector<std::string> words = {"stat", "--json", server_->url("status/") + c.name};
    words.insert(words.end(), c.how.begin(), c.how.end());
    words.insert(words.end(), {"--log", remote("log")});
    const support::Outcome outcome = fileref(words);
    EXPECT_EQ(outcome.status, c.status) << c.name << outcome.err;
    EXPECT_NE(compact(outcome.out).find(c.told), std::string::npos) << c.name << outcome.out;
    EXPECT_EQ(outcome.out.empty(), c.status == 1) << c.name << outcome.out;
  }
  for (const auto& [how, time] : {std::pair(direct, "1970-01-02T00:00:00Z"), {psftp, ""}}) {
    const support::Outcome listed =
        fileref({"ls", "--json", server_->url("status"), "-o", how, "--log", remote("log")});
    const std::string told = compact(listed.out);
    EXPECT_NE(told.find(R"({"name":"-a b","kind":"file","link":false,"size":5,"modified":)"),
              std::string::npos)
        << told << listed.err;
    EXPECT_NE(told.find(*time == '\0' ? untimed : whole), std::string::npos) << told;
    EXPECT_NE(told.find(R"({"name":"dangling","kind":"link","link":true,)"), std::string::npos);
  }
  const support::Outcome table = fileref({"ls", "-l", server_->url("status/*a*"), "-o", direct,
                                          "--client", "openssh", "--log", remote("log")});
  EXPECT_NE(table.out.find("-rwsr-x--x            5                   ? -a b\n"), std::string::npos)
      << table.out << table.err;
  EXPECT_EQ(support::read_file(remote("log")).find("> get"), std::string::npos);
  // In the root directory, too.
  EXPECT_NE(fileref({"stat", "local:/etc"}).out.find("Kind: directory\n"), std::string::npos);
  EXPECT_EQ(fileref({"exists", "local:/etc"}).status, 0);
  EXPECT_EQ(fileref({"info", "local:/etc"}).out, "Filename: /etc\n");
  EXPECT_EQ(fileref({"info", local("none")}).status, 1);
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
