// What the manual page and the completion say of the command's words.
#include <regex>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {
namespace {

class Words : public CommandTest {
 protected:
  std::vector<std::string> commands() const {
    std::vector<std::string> names;
    const std::string all = fileref({"__complete", ""}).out;
    const std::regex name("=([a-z]+)\t");
    for (std::sregex_iterator at(all.begin(), all.end(), name), end; at != end; ++at) {
      names.push_back((*at)[1]);
    }
    return names;
  }
};

// Whatever the help of a command shows, the manual page and the completion have, too.
TEST_F(Words, OfTheHelpAreInTheManualAndTheCompletion) {
  std::string manual = support::read_file(FILEREF_BUILD_DIRECTORY "/man/fileref.1");
  manual = std::regex_replace(manual, std::regex(R"(\\f[BIR]|\\(?=-))"), "");
  EXPECT_GT(commands().size(), 6u);
  for (const std::string& command : commands()) {
    SCOPED_TRACE(command);
    EXPECT_NE(manual.find(".SS \"" + command + "\""), std::string::npos);
    const std::string help = fileref({command, "--help"}).out;
    const std::string completed = fileref({"__complete", command, "-"}).out;
    const std::regex flag(R"(\n  +(-[\w-]+)(?:,(-[\w-]+))?)");
    for (std::sregex_iterator at(help.begin(), help.end(), flag), end; at != end; ++at) {
      for (const std::string& name : {(*at)[1].str(), (*at)[2].str()}) {
        if (name.empty()) continue;
        EXPECT_NE(manual.find(name), std::string::npos) << name;
        EXPECT_NE(completed.find("=" + name + "\t"), std::string::npos) << name;
      }
    }
  }
}

TEST_F(Words, AreCompleted) {
  const struct {
    std::vector<std::string> words;
    std::string answer;  // without what words stand for
  } rows[] = {
      {{"rea"}, "=read\n"},
      {{"rea", ""}, ""},
      {{"--ver"}, "=--version\n"},
      {{"read", "--cli"}, "=--client\n"},
      {{"read", "--client", "p"}, "=psftp\n=plain\n"},
      {{"read", "--client=o"}, "=--client=openssh\n"},
      {{"read", "-o", "REC"}, "=RECFM=V\n=RECFM=F\n=RECFM=S\n"},
      {{"read", "-o", "LR"}, "=LRECL=\n"},
      {{"read", "-o", "@"}, "@files @\n"},
      {{"read", "--log", "x"}, "@files \n"},
      {{"read", "--log=x"}, "@files --log=\n"},
      {{"read", "-q", ""}, "=sftp://\n=local:\n"},
      {{"read", "sftp://me@s"}, "@hosts sftp://me@\n"},
      {{"read", "sftp://srv/da"}, ""},
      {{"read", "local:/t"}, "@files local:\n"},
      {{"read", "--", "--cli"}, ""},
      {{"batch", ""}, "@files \n"},
      {{"batch", "file", "lo"}, "=local:\n"},
      {{"exists", "local:a", ""}, ""},
  };
  for (const auto& [words, answer] : rows) {
    std::vector<std::string> all = {"__complete"};
    all.insert(all.end(), words.begin(), words.end());
    const support::Outcome outcome = fileref(all);
    EXPECT_EQ(std::regex_replace(outcome.out, std::regex("\t[^\n]*"), ""), answer)
        << testing::PrintToString(words);
    EXPECT_EQ(outcome.status, 0);
  }
}

}  // namespace
}  // namespace fileref
