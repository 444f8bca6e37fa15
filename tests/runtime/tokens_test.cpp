#include "runtime/tokens.h"

#include <gtest/gtest.h>

#include "host/codes.h"

namespace fileref::runtime {
namespace {

// "type:text" of every token, with "original" behind a slash where it differs, then how it ended.
std::string dump(OptionSource& source) {
  std::string text;
  XXTOKEN cursor{};
  for (;;) {
    if (source.next(cursor) != kSuccess) return text + "failure";
    if (cursor.tokenl == 0) return text + "end";
    const std::string normal(cursor.token, static_cast<std::size_t>(cursor.tokenl));
    const std::string original(cursor.atoken->original);
    text += std::to_string(cursor.type) + ":" + normal;
    text += (normal == original ? "" : "/" + original) + " ";
  }
}

TEST(Tokens, SplitOptionText) {
  const struct {
    const char* text;
    const char* tokens;
  } cases[] = {
      {"", "end"},
      {" \t\n ", "end"},
      {"lrecl=80", "2:LRECL/lrecl 0:= 4:80 end"},
      {"A = -5 +6", "2:A 0:= 4:-5 4:+6 end"},
      {"host=10.0.0.5 x", "2:HOST/host 0:= 0:10.0.0.5 2:X/x end"},
      {"host=srv.example-1.com", "2:HOST/host 0:= 2:SRV.EXAMPLE-1.COM/srv.example-1.com end"},
      {"o='it''s' p=\"a\"\"b\"", "2:O/o 0:= 3:'it''s' 2:P/p 0:= 3:\"a\"\"b\" end"},
      {"o=''p", "2:O/o 0:= failure"},
      {"o='it's'", "2:O/o 0:= failure"},
      {"cd=/a/B.c new", "2:CD/cd 0:= 3:'/a/B.c'//a/B.c 2:NEW/new end"},
      {"path=sftp lsfile=a*=b",
       "2:PATH/path 0:= 3:'sftp'/sftp 2:LSFILE/lsfile 0:= 3:'a*'/a* 0:= 2:B/b end"},
      {"a'b'", "2:A/a 3:'b' end"},
      {"80x -", "0:80x 0:- end"},
      {"o='open", "2:O/o 0:= failure"},
      {"o='open''", "2:O/o 0:= failure"},
      {"user=", "2:USER/user 0:= failure"},
  };
  for (const auto& c : cases) {
    OptionSource source(c.text);
    EXPECT_EQ(dump(source), c.tokens) << c.text;
    EXPECT_EQ(dump(source), c.tokens) << "read again: " << c.text;
  }
}

TEST(Tokens, ConsumedTokensAreNotReadAgain) {
  OptionSource source("LRECL=80 NEW");
  EXPECT_FALSE(source.at_end());
  source.consume(3);
  EXPECT_EQ(dump(source), "2:NEW end");
  source.consume(1);
  EXPECT_TRUE(source.at_end());
}

TEST(Tokens, DisplayMarksThePlaceAndHidesSecrets) {
  const struct {
    const char* text;
    int consumed;
    int scanned;
    const char* shown;  // the marked part in brackets
  } cases[] = {
      {"A=1 FOO=2", 3, 0, "A=1 [FOO]=2"},
      {"A=1 B=2", 3, 2, "A=1 B=[2]"},
      {"A=", 0, 2, "A=[]"},
      {"A 'x", 0, 1, "A ['x]"},
      {"OPTIONSX 'key' FOO", 0, 1, "OPTIONSX [********] FOO"},
      {"OPTIONSX=-pw key FOO", 0, 2, "OPTIONSX=[********]"},
      {"OPTIONSX='it's key'", 0, 2, "OPTIONSX=[********]"},
      {"OPTIONSX='k' FOO 'x", 0, 0, "[OPTIONSX]=********"},
      {"OPTIONSX='key' FOO", 0, 0, "[OPTIONSX]=******** FOO"},
      {"OPTIONSX='key' FOO", 3, 0, "OPTIONSX=******** [FOO]"},
      {"optionsx = 'open", 0, 2, "optionsx = [********]"},
  };
  for (const auto& c : cases) {
    OptionSource source(c.text);
    source.consume(c.consumed);
    auto shown = source.display(c.scanned);
    if (shown.length > 0 || std::string(c.shown).ends_with("]")) {
      shown.text.insert(shown.offset + shown.length, "]");
    }
    shown.text.insert(shown.offset, "[");
    EXPECT_EQ(shown.text, c.shown);
  }
  const std::pair<std::string, const char*> failures[] = {
      {"A 'x", "not closed"},
      {"A=", "missing"},
      {"A='it's'", "inside a word"},
      {"A='" + std::string(32767, 'x') + "'", "too long"}};
  for (const auto& [text, reason] : failures) {
    OptionSource failing(text);
    XXTOKEN token{};
    while (failing.next(token) == kSuccess && token.tokenl > 0) continue;
    EXPECT_NE(failing.failure().find(reason), std::string::npos) << failing.failure();
    EXPECT_EQ(failing.display(0).offset, text.find_first_of("='") + (text[1] == '=' ? 1 : 0));
  }
  OptionSource source("USER='me' X");
  XXTOKEN cursor{};
  for (int i = 0; i < 3; ++i) source.next(cursor);
  source.blot(cursor.atoken);
  cursor.atoken->error |= 1;
  const auto shown = source.display(0);
  EXPECT_EQ(shown.text, "USER=******** X");
  EXPECT_EQ(shown.offset, 5u) << "a token that is marked in error is the place";
}

}  // namespace
}  // namespace fileref::runtime
