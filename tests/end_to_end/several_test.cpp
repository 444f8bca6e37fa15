// Listings, several files as one stream, and batches.
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

TEST_F(Several, ANameWithALineFeedIsRefusedAloud) {
  support::fs::create_directory(remote("odd"));
  support::write_file(remote("odd/plain"), "x\n");
  support::write_file(remote("odd/two\nlines"), "x\n");
  const support::Outcome outcome = fileref({"ls", local("odd")});
  EXPECT_EQ(outcome.status, 1) << outcome.out;
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err, "");
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
  EXPECT_EQ(outcome.status, 0) << outcome.err;
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
      fileref({"read", local(""), "--name", "b c", "--name", "none", "--name", "a"});
  EXPECT_EQ(named.out, "b c\na\n");
  EXPECT_NE(named.err.find("none"), std::string::npos);
  EXPECT_EQ(fileref({"read", local(""), "--name", "none"}).status, 1);
  EXPECT_EQ(fileref({"read", local("a"), "--name", "a"}).status, 2);
  const support::Outcome broken =
      fileref({"read", local(""), "--name", "a", "--name", "large", "--name", "b c", "-o",
               "OPTIONS='-D \"" FILEREF_BUILD_DIRECTORY "/faulty_server drop 1000000\"'"});
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out.find("b c"), std::string::npos);
  EXPECT_NE(broken.err.find("large"), std::string::npos) << broken.err;
}

TEST_F(Several, BatchesShowWhatTheClientSays) {
  support::write_file(remote("f"), "x\n");
  support::write_file(directory_ / "good", "cd " + remote("").string() + "\nls -1 f\n");
  support::write_file(directory_ / "bad", "cd " + remote("none").string() + "\nls -1 f\n");
  const support::Outcome good = fileref({"batch", directory_ / "good", "local:"});
  EXPECT_EQ(good.status, 0) << good.err;
  EXPECT_NE(good.out.find("\nf"), std::string::npos) << good.out;
  for (const auto& [file, said] :
       {std::pair{"bad", "stopped at \"cd "},
        {"no such file", "no such file\" cannot be read: No such file"}}) {
    const support::Outcome failed = fileref({"batch", directory_ / file, "local:"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find(said), std::string::npos) << failed.err;
    EXPECT_EQ(failed.err.find("No session"), std::string::npos) << failed.err;
  }
  EXPECT_EQ(fileref({"batch", directory_ / "good", local("f")}).status, 2);
}

}  // namespace
}  // namespace fileref
