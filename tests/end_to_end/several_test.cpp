// Listings, several files as one stream, and batches.
#include "fileref/printable.h"
#include "tests/end_to_end/command_fixture.h"
#include "tests/support/hostile_names.h"

namespace fileref {
namespace {

bool hidden(const std::string& name) {
  return name.front() == '.';
}

std::string joined(const std::vector<std::string>& names, bool all) {
  std::string text;
  for (const std::string& name : names) {
    if (all || !hidden(name)) text += name + std::string(1, '\0');
  }
  return text;
}

class Several : public CommandTest {};

TEST_F(Several, EveryNameIsListedAndCanBeReadByIt) {
  support::fs::create_directory(remote("odd"));
  for (const std::string& name : hostile_names()) {
    support::write_file(remote("odd") / name, "in " + name + "\n");
  }
  const std::string directory = local("odd/");
  EXPECT_EQ(fileref({"ls", "-0", directory}).out, joined(hostile_names(), false));
  EXPECT_EQ(fileref({"ls", "-0", "-a", directory}).out, joined(hostile_names(), true));
  EXPECT_EQ(fileref({"ls", "-0", directory + "*"}).out, joined(hostile_names(), false));
  std::vector<std::string> words = {"read", directory, "-o", "RECFM=S"};
  std::string contents;
  for (const std::string& name : hostile_names()) {
    words.insert(words.end(), {"--name", name});
    contents += "in " + name + "\n";
  }
  // A stream read ends with the first file; lines go on with the next.
  words.erase(words.begin() + 2, words.begin() + 4);
  const support::Outcome read = fileref(words);
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.out, contents) << read.err;
  std::string matched;
  for (const std::string& name : hostile_names()) {
    if (!hidden(name)) matched += "in " + name + "\n";
  }
  const support::Outcome pattern = fileref({"read", directory + "*"});
  EXPECT_EQ(pattern.out, matched) << pattern.err;
}

// What is fetched ahead waits in memory.
TEST_F(Several, OnlyWhatIsSmallIsFetchedAhead) {
  support::fs::create_directory(remote("day"));
  for (const char* name : {"a", "b", "c"}) support::write_file(remote("day") / name, "x\n");
  support::fs::resize_file(remote("day/b"), (16 << 20) + 1);
  const std::string log = remote("log");
  EXPECT_EQ(fileref({"read", local("day/*"), "-o", "RECFM=S", "--log", log}).status, 0);
  const std::string lines = support::read_file(log);
  const auto opened = [&](const std::string& name) {
    return lines.find("OPEN \"" + remote("day/" + name).string() + '"');
  };
  EXPECT_LT(lines.find("> get \"b\""), opened("b"));
  EXPECT_LT(opened("c"), lines.find("> get \"b\""));
}

TEST_F(Several, ANameWithALineFeedIsOneName) {
  support::fs::create_directory(remote("odd"));
  support::write_file(remote("odd/plain"), "x\n");
  support::write_file(remote("odd/two\nlines"), "y\n");
  EXPECT_EQ(fileref({"ls", "-0", local("odd")}).out, std::string("plain\0two\nlines\0", 16));
  EXPECT_EQ(fileref({"read", local("odd/*")}).out, "x\ny\n");
  EXPECT_EQ(fileref({"write", local("odd/two\nlines")}, "z\n").status, 0);
  EXPECT_EQ(fileref({"read", local("odd/two\nlines")}).out, "z\n");
  // The client `sftp` cannot show it.
  const support::Outcome refused = fileref({"ls", "--client", "openssh", local("odd")});
  EXPECT_EQ(refused.status, 1) << refused.out;
  EXPECT_EQ(refused.out, "");
  EXPECT_NE(refused.err.find("line feed"), std::string::npos) << refused.err;
}

TEST_F(Several, ListsDirectoriesAndPatterns) {
  for (const char* directory : {"empty", "full", "full/folder"}) {
    support::fs::create_directory(remote(directory));
  }
  for (const char* name : {"a.csv", "b.csv", "c.txt", ".d.csv"}) {
    support::write_file(remote("full") / name, name);
  }
  const struct {
    std::vector<std::string> words;
    int status;
    const char* out;
  } cases[] = {
      {{"ls", local("empty")}, 0, ""},
      {{"ls", "-a", local("empty")}, 0, ""},
      {{"ls", local("full")}, 0, "a.csv\nb.csv\nc.txt\nfolder\n"},
      {{"ls", "-a", local("full/")}, 0, ".d.csv\na.csv\nb.csv\nc.txt\nfolder\n"},
      {{"ls", local("full/*.csv")}, 0, "a.csv\nb.csv\n"},
      {{"ls", local("full/[bc]*")}, 0, "b.csv\nc.txt\n"},
      {{"ls", local("full/f*")}, 0, "folder\n"},
      {{"ls", local("full/*.none")}, 1, ""},
      {{"ls", local("missing")}, 1, ""},
      {{"ls", local("full/a.csv")}, 1, ""},
      {{"read", local("full/*.none")}, 1, ""},
      {{"read", local("missing/*")}, 1, ""},
  };
  for (const auto& c : cases) {
    const support::Outcome outcome = fileref(c.words);
    EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.words) << outcome.err;
    EXPECT_EQ(outcome.out, c.out) << testing::PrintToString(c.words) << outcome.err;
    EXPECT_EQ(outcome.err.empty(), c.status == 0) << outcome.err;
  }
}

// As `cat` does: the rest is read, and the status tells. Lines stay lines.
TEST_F(Several, TargetsAreReadOneAfterTheOther) {
  support::write_file(remote("open"), "a\nb");
  support::write_file(remote("empty"), "");
  support::write_file(remote("c"), "c\n");
  const struct {
    std::vector<std::string> words;
    int status;
    const char* out;
    const char* said;
  } cases[] = {
      {{"read", local("open"), local("empty"), local("c")}, 0, "a\nb\nc\n", ""},
      {{"read", local("c"), local("open"), local("empty")}, 0, "c\na\nb", ""},
      {{"read", local("open"), local("none"), local("c")}, 1, "a\nb\nc\n", "/none"},
      {{"read", local("o*"), "-o", "RECFM=S", local("c")}, 0, "a\nbc\n", ""},
      {{"read", local("no*"), local("c")}, 1, "c\n", "/no*"},
      {{"read", local("c"), "other"}, 2, "", "\"other\" is no target"},
      {{"read", local("c"), local("c"), "-o", "RECFM=X"}, 2, "", "RECFM=X"},
  };
  for (const auto& c : cases) {
    const support::Outcome outcome = fileref(c.words);
    EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.words) << outcome.err;
    EXPECT_EQ(outcome.out, c.out) << testing::PrintToString(c.words) << outcome.err;
    EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
  }
}

TEST_F(Several, ManyFilesAreTheirConcatenationOverSsh) {
  std::string contents;
  const path directory = server_->root() / "many";
  support::fs::create_directory(directory);
  for (int i = 1000; i < 3000; ++i) {
    const std::string text = "file " + std::to_string(i) + "\nline two\n";
    support::write_file(directory / ("f" + std::to_string(i)), i == 2000 ? "" : text);
    if (i != 2000 && i != 1500) contents += text;
  }
  server_->give_to_user(server_->root());
  support::fs::permissions(directory / "f1500", support::fs::perms::none);
  const support::Outcome outcome = fileref(
      {"read", server_->url("many/f*"), "-o", server_->options(), "--log", directory_ / "log"});
  EXPECT_EQ(outcome.status, 1) << outcome.err;
  EXPECT_TRUE(outcome.out == contents);
  EXPECT_NE(outcome.err.find("\"f1500\" was skipped"), std::string::npos) << outcome.err;
  const std::string log = support::read_file(directory_ / "log");
  EXPECT_NE(log.find("\"f1500\" was skipped"), std::string::npos);
  EXPECT_EQ(log.find("\"f2000\" was skipped"), std::string::npos);
}

TEST_F(Several, NamedFilesInOrderAndAFailureInTheMiddle) {
  for (const char* name : {"b c", "a"}) support::write_file(remote(name), std::string(name) + "\n");
  support::write_file(remote("large"), random_bytes(2'000'000, 8));
  const support::Outcome named =
      fileref({"read", "-q", local(""), "--name", "b c", "--name", "none", "--name", "a"});
  EXPECT_EQ(named.status, 1);
  EXPECT_EQ(named.out, "b c\na\n");
  EXPECT_NE(named.err.find("\"none\" was skipped: "), std::string::npos) << named.err;
  EXPECT_EQ(fileref({"read", local(""), "--name", "b c", "--name", "a"}).status, 0);
  EXPECT_EQ(fileref({"read", local(""), "--name", "none"}).status, 1);
  EXPECT_EQ(fileref({"read", local("a"), "--name", "a"}).status, 2);
  const support::Outcome broken = fileref(
      {"read", "--retries", "0", local(""), "--name", "a", "--name", "large", "--name", "b c", "-o",
       "OPTIONS='-D \"" FILEREF_BUILD_DIRECTORY "/faulty_server drop 1000000\"'"});
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out.find("b c"), std::string::npos);
  EXPECT_NE(broken.err.find("large"), std::string::npos) << broken.err;
}

TEST_F(Several, AFileOfJustThatNameCountsOverAPattern) {
  const struct {
    const char* file;  // that exists besides report1.txt
    std::vector<std::string> words;
    int status;
    const char* out;
  } cases[] = {
      {"none", {"read", local("report[1].txt")}, 0, "in report1.txt\n"},
      {"none", {"read", "--literal", local("report[1].txt")}, 1, ""},
      {"report[1].txt", {"read", local("report[1].txt")}, 0, "in report[1].txt\n"},
      {"report[1].txt", {"read", "--pattern", local("report[1].txt")}, 0, "in report1.txt\n"},
      {"REPORT[1].TXT", {"read", local("report[1].txt")}, 0, "in report1.txt\n"},
      {"*", {"read", local("*")}, 0, "in *\n"},
      {"*", {"read", "--pattern", local("*")}, 0, "in *\nin report1.txt\n"},
      {"*", {"write", local("*")}, 0, ""},
      {"none", {"write", local("*")}, 2, ""},
      {"none", {"write", "--literal", local("*")}, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words) + " beside " + c.file);
    support::fs::remove_all(remote(""));
    support::fs::create_directory(remote(""));
    for (const std::string name : {"report1.txt", c.file}) {
      support::write_file(remote(name), "in " + name + "\n");
    }
    const support::Outcome outcome = fileref(c.words, "new\n");
    EXPECT_EQ(outcome.status, c.status) << outcome.err;
    EXPECT_EQ(outcome.out, c.out);
    const bool written = c.words.front() == "write" && c.status == 0;
    EXPECT_EQ(support::read_file(remote("*")) == "new\n", written);
    EXPECT_EQ(support::read_file(remote("report1.txt")), "in report1.txt\n");
  }
}

// A terminal is driven by what is printed on it.
TEST_F(Several, OnATerminalEveryNameIsText) {
  support::fs::create_directory(remote("odd"));
  std::string names = " --name 'bell\007esc\033'";
  for (const std::string& name : unprintable_names()) {
    support::write_file(remote("odd") / name, "x\n");
    names += " --name '" + name + ".none'";
  }
  const std::string esc = "bell\007esc\033";
  support::write_file(directory_ / "batch", "ls -1 \"" + remote("odd").string() + "\"\n");
  const std::pair<std::string, const char*> commands[] = {
      {"ls " + local("odd"), "bell?esc?\r"},
      {"members --kind " + local("odd"), "bell?esc? "},
      {"members --json " + local("odd"), "esc"},
      {"exists '" + local("odd/Bell\007esc\033'"), "yes, as bell?esc?"},
      {"info '" + local("odd/" + esc + "'"), "bell?esc?"},
      {"read '" + local("odd/" + esc + ".none'"), "bell\\x07esc\\x1b"},
      {"read " + local("odd/") + names, "bell\\x07esc\\x1b"},
      {"read " + local("odd") + " '" + esc + "'", "esc"},
      {"batch " + (directory_ / "batch").string() + " local:", "esc"},
  };
  for (const auto& [words, shown] : commands) {
    SCOPED_TRACE(words);
    const support::Outcome outcome =
        support::run({"script", "-qec", command() + " " + words, "/dev/null"}, "", environment());
    EXPECT_NE(outcome.out.find(shown), std::string::npos) << outcome.out;
    for (std::string line : split(outcome.out, '\n')) {
      line.resize(line.find_last_not_of('\r') + 1);
      EXPECT_EQ(line, printable(line));
    }
  }
}

TEST_F(Several, BatchesShowWhatTheClientSays) {
  support::write_file(remote("f"), "x\n");
  support::write_file(directory_ / "good", "cd " + remote("").string() + "\nls -1 f\n");
  support::write_file(directory_ / "bad", "cd " + remote("none").string() + "\nls -1 f\n");
  const support::Outcome good = fileref({"batch", directory_ / "good", "local:"});
  EXPECT_EQ(good.status, 0) << good.err;
  EXPECT_NE(good.out.find("\nf"), std::string::npos) << good.out;
  const support::Outcome failed = fileref({"batch", directory_ / "bad", "local:"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_NE(failed.err.find("stopped at \"cd "), std::string::npos) << failed.err;
  EXPECT_EQ(failed.err.find("No session"), std::string::npos) << failed.err;
  const support::Outcome missing = fileref({"batch", directory_ / "no such file", "local:"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("no such file\": No such file"), std::string::npos) << missing.err;
  const std::string piped =
      command() + " batch /dev/stdin local: <" + (directory_ / "good").string();
  EXPECT_EQ(support::run({"sh", "-c", piped}, "", environment()).out, good.out);
  EXPECT_EQ(fileref({"batch", directory_ / "good", local("f")}).status, 2);
}

}  // namespace
}  // namespace fileref
