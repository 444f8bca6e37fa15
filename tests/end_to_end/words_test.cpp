// What the manual page and the completion say of the command's words.
#include <algorithm>
#include <sstream>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {
namespace {

class Words : public CommandTest {
 protected:
  // What `__complete` suggests, without what words stand for.
  std::vector<std::string> suggestions(std::vector<std::string> words) const {
    words.insert(words.begin(), "__complete");
    const support::Outcome outcome = fileref(words);
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.out);
    std::vector<std::string> found;
    for (std::string line; std::getline(lines, line);) {
      found.push_back(line.substr(0, line.find('\t')));
    }
    return found;
  }

  // The flags that a command's help begins lines with.
  std::vector<std::string> flags(const std::string& command) const {
    std::istringstream lines(fileref({command, "--help"}).out);
    std::vector<std::string> found;
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string names;
      words >> names;
      if (!line.starts_with("  ") || !names.starts_with('-')) continue;
      std::istringstream parts(names);
      for (std::string name; std::getline(parts, name, ',');) found.push_back(name);
    }
    return found;
  }
};

// Whatever the help of a command shows, the manual page and the completion have, too.
TEST_F(Words, OfTheHelpAreInTheManualAndTheCompletion) {
  std::string manual = support::read_file(FILEREF_BUILD_DIRECTORY "/man/fileref.1");
  for (const std::string part : {"\\fB", "\\fI", "\\fR", "\\"}) {
    for (std::size_t at; (at = manual.find(part)) != manual.npos;) manual.erase(at, part.size());
  }
  const std::vector<std::string> commands = suggestions({""});
  EXPECT_GT(commands.size(), 6u);
  for (const std::string& suggested : commands) {
    SCOPED_TRACE(suggested);
    const std::string command = suggested.substr(1);
    EXPECT_NE(manual.find(".SS \"" + command + "\""), std::string::npos);
    const std::vector<std::string> completed = suggestions({command, "-"});
    EXPECT_GT(flags(command).size(), 1u);
    for (const std::string& flag : flags(command)) {
      const bool first = manual.find("\n" + flag) != manual.npos;
      EXPECT_TRUE(first || manual.find(", " + flag) != manual.npos) << flag;
      EXPECT_EQ(std::count(completed.begin(), completed.end(), "=" + flag), 1) << flag;
    }
  }
}

TEST_F(Words, AreCompleted) {
  const struct {
    std::vector<std::string> words, suggested;
  } rows[] = {
      {{"rea"}, {"=read"}},
      {{"rea", ""}, {}},
      {{"--ver"}, {"=--version"}},
      {{"read", "--cli"}, {"=--client"}},
      {{"read", "--client", "p"}, {"=psftp", "=plain"}},
      {{"read", "--client=o"}, {"=--client=openssh"}},
      {{"read", "-o", "REC"}, {"=RECFM=V", "=RECFM=F", "=RECFM=S"}},
      {{"read", "-o", "LR"}, {"=LRECL="}},
      {{"read", "-o", "@"}, {"@files @"}},
      {{"read", "--log", "x"}, {"@files "}},
      {{"read", "--log=x"}, {"@files --log="}},
      {{"read", "-q", ""}, {"=sftp://", "=local:"}},
      {{"read", "sftp://me@s"}, {"@hosts sftp://me@"}},
      {{"read", "sftp://srv/da"}, {}},
      {{"read", "local:/t"}, {"@files local:"}},
      {{"read", "--", "--cli"}, {}},
      {{"copy", "a", ""}, {"=sftp://", "=local:", "@files "}},
      {{"copy", "a", "local:"}, {"@files local:"}},
      {{"batch", ""}, {"@files "}},
      {{"batch", "file", "lo"}, {"=local:"}},
      {{"exists", "local:a", ""}, {}},
  };
  for (const auto& [words, suggested] : rows) {
    EXPECT_EQ(suggestions(words), suggested) << testing::PrintToString(words);
  }
}

}  // namespace
}  // namespace fileref
