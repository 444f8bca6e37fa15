#include <gtest/gtest.h>

#include <set>

#include "runtime/launch/blot.h"
#include "runtime/launch/command.h"
#include "runtime/launch/command_line.h"
#include "runtime/launch/delivery.h"
#include "runtime/launch/dialogue/framing.h"
#include "runtime/launch/dialogue/listing.h"
#include "runtime/launch/directory_listing.h"
#include "runtime/launch/openssh/openssh.h"
#include "runtime/launch/openssh/unclear_name.h"
#include "runtime/launch/start_failure.h"

namespace fileref::runtime {
namespace {

using namespace std::string_literals;

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += '<' + word + '>';
  return text;
}

TEST(CommandLine, IsSplitByTheRulesOfTheShell) {
  const std::pair<std::string, std::string> cases[] = {
      {"sftp   host", "<sftp><host>"},
      {"\tsftp -i 'my key' h ", "<sftp><-i><my key><h>"},
      {R"(a "b c"'d e'f\ g)", "<a><b cd ef g>"},
      {R"("\"\\\$\`\n" '\"')", R"(<"\$`\n><\">)"},
      {R"(\'x '' "")", "<'x><><>"},
      {R"(a;b $HOME *.c `id` #c)", R"(<a;b><$HOME><*.c><`id`><#c>)"},
      {"a\\\tb\n", "<a\tb>"},
      {"", ""},
  };
  for (const auto& [line, expected] : cases) {
    std::string why;
    const auto words = split_words(line, &why);
    ASSERT_TRUE(words) << line << ": " << why;
    EXPECT_EQ(joined(*words), expected) << line;
    EXPECT_EQ(split_words(joined_words(*words), &why), words) << line;
  }
  for (const std::string& line : {"sftp 'h"s, "sftp \"h"s, "sftp \"h\\\""s, "sftp h\\"s, "a\0b"s}) {
    std::string why;
    EXPECT_FALSE(split_words(line, &why)) << line;
    EXPECT_NE(why, "") << line;
  }
}

TEST(Blot, CoversWhatAClientRepeats) {
  Blot blot;
  blot.add("-i hunter2 -o 'User=sesame street' -pw abc -ltiger");
  const std::pair<std::string, std::string> cases[] = {
      {"Identity file hunter2 not accessible", "Identity file ******** not accessible"},
      {"sesame street, hunter2hunter2", "********, ****************"},
      {"-i hunter2 -o 'User=sesame street' -pw abc -ltiger", "********"},
      {"HUNTER2", "********"},
      {"tiger -i -o -pw abc sesame", "******** -i -o -pw abc sesame"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(blot(text), shown);
  blot.add("'open quote");
  EXPECT_EQ(blot("'open quote"), "********");
}

TEST(Quoting, KeepsNamesLiteral) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain name", R"("plain name")"},
      {R"(a"b)", R"("a\"b")"},
      {R"(\)", R"("\\")"},
      {"-x", R"("-x")"},
      {"*?[]", R"("*?[]")"},
      {"{a,b}", R"("{a,b}")"},
  };
  for (const auto& [name, quoted] : cases) EXPECT_EQ(openssh::quote(name), quoted);
  EXPECT_EQ(openssh::quote_for_listing("{a,b}\\{"), R"("\{a,b}\\\{")");
  EXPECT_EQ(literal_path("-x") + literal_path("x-"), "./-xx-");
}

TEST(UnclearName, IsFoundByItsBeginnings) {
  UnclearName quoted("\\377\"\\101\\200{");
  EXPECT_EQ(quoted.next()->shown, "\\377\\\"\\\\101\\200\\{");
  EXPECT_EQ(quoted.next()->shown, "\\\\377\\\"\\\\101\\\\200\\{");
  constexpr unsigned kPlaces = 8;
  for (unsigned mixture = 0; mixture < 1u << kPlaces; ++mixture) {
    std::string shown, truth;
    for (unsigned place = 0; place < kPlaces; ++place) {
      shown += "\\001a";
      truth += (mixture >> place & 1) != 0 ? "\\001a" : "\001a";
    }
    UnclearName name(shown);
    unsigned questions = 0;
    auto candidate = name.next();
    for (; candidate && candidate->name != truth; candidate = name.next(), ++questions) {
      if (!candidate->is_whole && truth.starts_with(candidate->name)) name.confirm_beginning();
    }
    EXPECT_TRUE(candidate && candidate->is_whole) << truth;
    EXPECT_LE(questions, 2 + 2 * kPlaces) << truth;
  }
  UnclearName none("\\001\\001");
  unsigned questions = 0;
  while (none.next()) ++questions;
  EXPECT_EQ(questions, 4u);
}

TEST(StartFailure, IsExplainedForEveryVersion) {
  const std::pair<std::string, std::string> cases[] = {
      {"Connection closed by 127.0.0.1 port 2222\nConnection closed\n",
       "what listens at that port"},
      {"kex_exchange_identification: Connection closed by remote host\n", "what listens at that"},
      {"FATAL ERROR: Remote side unexpectedly closed network connection\n", "what listens at that"},
      {"u@h: Permission denied (publickey).\nConnection closed by h port 2\n", "the login was"},
      {"Unable to use key file \"k\" (PuTTY key format too new)\n", "the key file is in a format"},
      {"Unable to use key file \"k\" (unable to open file)\n", "the file of the login key cannot"},
      {"psftp: 'SHA256:x' is not a valid format for a manual host key specification\n",
       "psftp does not take the host key"},
      {"command-line line 0: Bad port '70000'.\n", "the client does not know a word"},
      {"command-line line 0: unsupported option \"foo\".\n", "the client does not know a word"},
      {"command-line line 0: invalid time value.\n", "the client does not know a word"},
      {"command-line line 0: Deprecated option \"rsaauthentication\"\n", ""},
      {"Unknown cipher type 'nonsense'\n", "the client does not know a word"},
      {"Can't open user config file /nothing: No such file or directory\n", "the file behind -F"},
      {"Unable to negotiate with h port 22: no matching cipher found. Their offer: x\n",
       "this client and the server have no algorithm in common"},
      {"Connection closed.  \n", ""},
  };
  for (const auto& [words, advice] : cases) {
    const std::string explained = explain_start_failure(words);
    EXPECT_TRUE(explained.starts_with(advice)) << explained;
    EXPECT_EQ(explained.empty(), advice.empty()) << explained;
  }
}

TEST(Delivery, IsCutAtTheEndsOfLines) {
  for (const std::size_t at_once : {0, 1, 3, 20}) {  // bytes that are made later
    std::string rest = "ab\ncdefgh\ni\n\nj";
    Delivery text;
    text.append(
        at_once == 0 ? rest : "", at_once == 0 ? Delivery::Source() : [&](std::string* more) {
          *more += rest.substr(0, at_once);
          rest.erase(0, at_once);
          return !rest.empty();
        });
    std::string pieces;
    for (char buffer[4]; !text.is_empty();) {
      pieces += '<' + std::string(buffer, text.take(buffer, sizeof buffer)) + '>';
    }
    EXPECT_EQ(pieces, "<ab\n><cdef><gh\n><i\n\nj>");
  }
}

TEST(Nonce, IsNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) seen.insert(make_nonce());
  EXPECT_EQ(seen.size(), 100u);
  EXPECT_EQ(seen.begin()->size(), 32u);
}

}  // namespace
}  // namespace fileref::runtime
