// Texts by pointer and length, and their letter case.
#include <algorithm>

#include "dsup/src/vzatl.h"
#include "dsup/src/wztxxlt.h"
#include "hostcm/src/wzstr.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

int length_of(std::string_view text) {
  return static_cast<int>(text.size());
}

TEST(Helpers, ConcatenationFillsCutsAndTerminates) {
  const struct {
    int capacity;
    int separator;
    int result;
    const char* buffer;  // twelve bytes that were dots, a zero as "0"
  } cases[] = {{0, -1, 0, "............"},    {-1, -1, 0, "0..........."},
               {10, -1, 7, "abcdefg   .."},   {5, -1, 5, "abcde......."},
               {-8, -1, 7, "abcdefg0...."},   {-5, -1, 4, "abcd0......."},
               {12, ',', 10, "abc,de,,fg  "}, {4, ',', 4, "abc,........"},
               {-5, ',', 4, "abc,0......."},  {12, 0, 10, "abc0de00fg  "}};
  for (const auto& c : cases) {
    std::string b(12, '.');
    const int n =
        wzstcat(b.data(), c.capacity, c.separator, 4, "abcX", 3, "de", 2, nullptr, 0, "fg", 2);
    std::replace(b.begin(), b.end(), '\0', '0');
    EXPECT_EQ(n, c.result) << c.buffer;
    EXPECT_EQ(b, c.buffer) << c.capacity << " " << c.separator;
  }
  char overlapping[] = "abcdef....";
  EXPECT_EQ(wzstcat(overlapping + 2, 8, kNoSeparator, 2, overlapping, 6, "!", 1), 7);
  EXPECT_STREQ(overlapping, "ababcdef! ");
}

TEST(Helpers, ComparisonIgnoresTrailingBlanks) {
  const struct {
    std::string_view a;
    std::string_view b;
    int order;
  } cases[] = {{"ABC", "ABC", 0}, {"ABC", "ABD", -3}, {"ABD", "ABC", 3}, {"AB", "AB ", 0},
               {"AB  ", "AB", 0}, {"AB", "ABC", -3},  {"ABC", "AB", 3},  {"AB", "AB\t", 3},
               {"", "   ", 0},    {"a", "\xE9", -1},  {"", "x", -1},     {"B", "AZ", 1},
               {"LS", "LSA", -3}, {"AB", "AB  C", -5}};
  for (const auto& c : cases) {
    EXPECT_EQ(wzstcom(c.a.data(), length_of(c.a), c.b.data(), length_of(c.b)), c.order)
        << c.a << " " << c.b;
  }
  EXPECT_EQ(wzstcom(nullptr, 9, "  x", 3), -3);
}

TEST(Helpers, SearchesAnswerAnOffset) {
  const struct {
    const char* text;
    int length;
    const char* token;
    int token_length;
    int offset;
  } cases[] = {{"sftp>", 5, "sftp>", 5, 0}, {"sftp>", 4, "sftp>", 5, -1},
               {"aab", 3, "ab", 2, 1},      {"a\0b", 3, "\0b", 2, 1},
               {"AB", 2, "b", 1, -1},       {"abc", 3, "c", -1, 2},
               {"abc", 2, "c", -1, -1},     {"", 0, "", 0, 0},
               {nullptr, 0, "", 0, 0},      {"abc", 3, nullptr, -1, 0},
               {nullptr, 0, "a", 1, -1},    {"abc", 3, "bcd", 3, -1}};
  for (const auto& c : cases) {
    EXPECT_EQ(wzstndx(c.text, c.length, c.token, c.token_length), c.offset)
        << (c.text != nullptr ? c.text : "null") << ", " << c.length << ", " << c.token_length;
  }
  EXPECT_EQ(wzstpos("a/b/c", 5, '/'), 1);
  EXPECT_EQ(wzstpos("a/b/c", 1, '/'), -1);
  EXPECT_EQ(wzstpos("\xE9", 1, 0xE9), 0);
  EXPECT_EQ(wzstpos(nullptr, 5, '/'), -1);
  EXPECT_EQ(vzatl(' ', "        ", 8, 8), 1);
  EXPECT_EQ(vzatl(' ', "       x", 8, 8), 0);
  EXPECT_EQ(vzatl(' ', "x", 0, 8), 1);
}

TEST(Helpers, QuotesComeOff) {
  const std::pair<std::string, std::string> cases[] = {
      {"'it''s'", "it's"}, {"''", ""},    {"\"a\"", "a"},
      {"'\"\"'", "\"\""},  {"''''", "'"}, {"'a''''b'", "a''b"},
      {"/bin/p", "bin/"},  {"'", ""},     {"", ""}};
  for (auto [token, text] : cases) {
    EXPECT_EQ(wzstrpq(token.data(), length_of(token)), length_of(text)) << text;
    EXPECT_EQ(token.c_str(), text);
  }
}

TEST(Helpers, TranslationFollowsTheSession) {
  const struct {
    const char* session;
    int function;
    std::string from;
    std::string to;
  } cases[] = {{"UTF-8", kUpperCase, "sftp> \xC3\xA9", "SFTP> \xC3\x89"},
               {"UTF-8", kLowerCase, "SFTP> \xC3\x89", "sftp> \xC3\xA9"},
               {"UTF-8", kUpperCase, "half \xC3", "HALF \xC3"},
               {"UTF-8", kConvertIn, "as Is", "as Is"},
               {"UTF-8", kConvertOut, "as Is", "as Is"},
               {"UTF-8", kFifthTable, "as Is", "as Is"},
               {"ISO-8859-1", kUpperCase, "sftp> \xE9", "SFTP> \xC9"},
               {"ISO-8859-1", kLowerCase, "SFTP> \xC9", "sftp> \xE9"}};
  for (auto c : cases) {
    ModuleHost host(c.session);
    std::string copy(c.from.size(), '.');
    EXPECT_EQ(wztxxlt(c.function, c.from.data(), copy.data(), length_of(c.from)), kSuccess);
    EXPECT_EQ(copy, c.to) << c.session << " " << c.function;
    EXPECT_EQ(wztxxlt(c.function, c.from.data(), c.from.data(), length_of(c.from)), kSuccess);
    EXPECT_EQ(c.from, c.to) << "in place";
    EXPECT_EQ(wztxxlt(c.function, "abc", copy.data(), 0), kSuccess);
    EXPECT_EQ(wztxxlt(c.function, "abc", copy.data(), -3), kSuccess);
    EXPECT_EQ(wztxxlt(-1, "abc", copy.data(), 3), kBadTranslation);
    EXPECT_EQ(wztxxlt(5, "abc", copy.data(), 3), kBadTranslation);
    EXPECT_EQ(copy, c.to) << "nothing is touched";
  }
}

}  // namespace
}  // namespace fileref
