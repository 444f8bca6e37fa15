// Texts by pointer and length, and their letter case.
#include <algorithm>

#include "dsup/src/vzatl.h"
#include "dsup/src/wztxxlt.h"
#include "hostcm/src/wzstr.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

TEST(Helpers, ConcatenationFillsCutsAndTerminates) {
  const struct {
    int capacity;
    int separator;
    int result;
    const char* buffer;  // twelve bytes that were dots, a zero as "0"
  } cases[] = {
      {0, -1, 0, "............"},  {-1, -1, 0, "0..........."},  {7, -1, 7, "abcdefg....."},
      {10, -1, 7, "abcdefg   .."}, {5, -1, 5, "abcde......."},   {-8, -1, 7, "abcdefg0...."},
      {-5, -1, 4, "abcd0......."}, {-12, -1, 7, "abcdefg0...."}, {12, ',', 10, "abc,de,,fg  "},
      {4, ',', 4, "abc,........"}, {-5, ',', 4, "abc,0......."}, {7, ',', 7, "abc,de,....."},
  };
  for (const auto& c : cases) {
    std::string buffer(12, '.');
    EXPECT_EQ(
        wzstcat(buffer.data(), c.capacity, c.separator, 4, "abcX", 3, "de", 2, nullptr, 0, "fg", 2),
        c.result);
    std::replace(buffer.begin(), buffer.end(), '\0', '0');
    EXPECT_EQ(buffer, c.buffer) << c.capacity << " " << c.separator;
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
  } cases[] = {
      {"ABC", "ABC", 0}, {"ABC", "ABD", -3},  {"ABD", "ABC", 3}, {"AB", "AB ", 0},
      {"AB  ", "AB", 0}, {"AB", "ABC", -3},   {"ABC", "AB", 3},  {"AB", "AB\t", 3},
      {"", "", 0},       {"", "   ", 0},      {"", "x", -1},     {"x", "", 1},
      {"a", "\xE9", -1}, {"AB", "AB  C", -5}, {"LS", "LSA", -3}, {"B", "AZ", 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(
        wzstcom(c.a.data(), static_cast<int>(c.a.size()), c.b.data(), static_cast<int>(c.b.size())),
        c.order)
        << c.a << " and " << c.b;
  }
  EXPECT_EQ(wzstcom(nullptr, 9, nullptr, 5), 0);
  EXPECT_EQ(wzstcom(nullptr, 3, "  x", 3), -3);
}

TEST(Helpers, SearchesAnswerAnOffset) {
  const struct {
    const char* text;
    int length;
    const char* token;
    int token_length;
    int offset;
  } cases[] = {
      {"sftp>", 5, "sftp>", 5, 0}, {"sftp>", 4, "sftp>", 5, -1}, {"xxabab", 6, "ab", 2, 2},
      {"aab", 3, "ab", 2, 1},      {"a\0b", 3, "\0b", 2, 1},     {"AB", 2, "b", 1, -1},
      {"abc", 3, "c", -1, 2},      {"abc", 2, "c", -1, -1},      {"abc", 3, "zz", 0, 0},
      {"", 0, "", 0, 0},           {nullptr, 0, "", 0, 0},       {"abc", 3, nullptr, -1, 0},
      {"abc", 0, "a", 1, -1},      {nullptr, 0, "a", 1, -1},     {"abc", 3, "bcd", 3, -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(wzstndx(c.text, c.length, c.token, c.token_length), c.offset)
        << (c.text != nullptr ? c.text : "null") << ", " << c.length << ", " << c.token_length;
  }
  EXPECT_EQ(wzstpos("a/b/c", 5, '/'), 1);
  EXPECT_EQ(wzstpos("a/b/c", 1, '/'), -1);
  EXPECT_EQ(wzstpos("\xE9", 1, 0xE9), 0);
  EXPECT_EQ(wzstpos(nullptr, 5, '/'), -1);
  EXPECT_EQ(wzstlen("abc"), 3);
  EXPECT_EQ(wzstlen(nullptr), 0);
  EXPECT_EQ(vzatl(' ', "        ", 8, 8), 1);
  EXPECT_EQ(vzatl(' ', "       x", 8, 8), 0);
  EXPECT_EQ(vzatl(' ', "x", 0, 8), 1);
}

TEST(Helpers, QuotesComeOff) {
  const struct {
    std::string token;
    const char* text;
  } cases[] = {
      {"'it''s'", "it's"},
      {"''", ""},
      {"\"a\"", "a"},
      {"'\"\"'", "\"\""},
      {"'a''''b'", "a''b"},
      {"''''", "'"},
      {"xabcx", "abc"},
      {"/bin/p", "bin/"},
      {"'", ""},
      {"", ""},
  };
  for (auto c : cases) {
    const std::string before = c.token;
    const int length = wzstrpq(c.token.data(), static_cast<int>(c.token.size()));
    EXPECT_EQ(length, wzstlen(c.text)) << before;
    EXPECT_STREQ(c.token.c_str(), c.text) << before;
  }
}

TEST(Helpers, TranslationFollowsTheSession) {
  const struct {
    const char* session;
    int function;
    std::string_view from;
    std::string_view to;
  } cases[] = {
      {"UTF-8", kUpperCase, "sftp> \xC3\xA9", "SFTP> \xC3\x89"},
      {"UTF-8", kLowerCase, "SFTP> \xC3\x89", "sftp> \xC3\xA9"},
      {"UTF-8", kUpperCase, "half \xC3", "HALF \xC3"},
      {"UTF-8", kConvertIn, "as Is", "as Is"},
      {"UTF-8", kConvertOut, "as Is", "as Is"},
      {"UTF-8", kFifthTable, "as Is", "as Is"},
      {"ISO-8859-1", kUpperCase, "sftp> \xE9\xC3\xA9", "SFTP> \xC9\xC3\xA9"},
      {"ISO-8859-1", kLowerCase, "SFTP> \xC9", "sftp> \xE9"},
      {"ISO-8859-1", kConvertIn, "as Is", "as Is"},
  };
  for (const auto& c : cases) {
    ModuleHost host(c.session);
    const auto length = static_cast<int>(c.from.size());
    std::string copy(c.from.size(), '.');
    EXPECT_EQ(wztxxlt(c.function, c.from.data(), copy.data(), length), kSuccess);
    EXPECT_EQ(copy, c.to) << c.session << " " << c.function;
    copy = c.from;
    EXPECT_EQ(wztxxlt(c.function, copy.data(), copy.data(), length), kSuccess);
    EXPECT_EQ(copy, c.to) << "in place";
    for (const int unknown : {-1, 5}) {
      EXPECT_EQ(wztxxlt(unknown, "abc", copy.data(), 3), kBadTranslation);
      EXPECT_EQ(copy, c.to) << "nothing is touched";
    }
    EXPECT_EQ(wztxxlt(c.function, "abc", copy.data(), 0), kSuccess);
    EXPECT_EQ(copy, c.to);
  }
}

}  // namespace
}  // namespace fileref
