#include "runtime/text.h"

#include <gtest/gtest.h>

#include "runtime/converter.h"
#include "runtime/log.h"
#include "runtime/printable.h"
#include "runtime/toolkit_text.h"

namespace fileref::runtime {
namespace {

TEST(Text, ChangesCaseInTheSessionEncoding) {
  const struct {
    const char* session;
    const char* text;
    const char* upper;
  } cases[] = {
      {"UTF-8", "sftp> no such", "SFTP> NO SUCH"},
      {"UTF-8", "gr\xC3\xBC\xC3\x9F\xC3\xA9", "GR\xC3\x9C\xC3\x9F\xC3\x89"},
      {"UTF-8", "broken \xC3( \xFF a\xC3", "BROKEN \xC3( \xFF A\xC3"},
      {"UTF-8", "\xC4\xB1 \xC5\xBF", "\xC4\xB1 \xC5\xBF"},  // the other case is shorter
      {"ISO-8859-1", "gr\xFC\xE9\xFF", "GR\xDC\xC9\xFF"},
      {"CP437", "\x81", "\x9A"},
  };
  for (const auto& c : cases) {
    const Text text(c.session);
    std::string upper = c.text;
    text.to_upper(upper.data(), upper.size());
    EXPECT_EQ(upper, c.upper) << c.session;
    std::string lower = upper;
    text.to_lower(lower.data(), lower.size());
    text.to_upper(lower.data(), lower.size());
    EXPECT_EQ(lower, upper) << c.session;
  }
  EXPECT_THROW(Text("UTF-16"), std::invalid_argument);
  EXPECT_THROW(Text("klingon"), std::invalid_argument);
}

TEST(Text, KnowsEncodingsByName) {
  Text text("UTF-8");
  const u_cei latin = text.encoding("iso-8859-1");
  EXPECT_GT(latin, 0);
  EXPECT_EQ(text.encoding("ISO-8859-1  "), latin);
  EXPECT_NE(text.encoding("utf-16"), latin);
  EXPECT_EQ(text.encoding_name(latin), "ISO-8859-1");
  for (const char* name : {"", "klingon", "UTF-8//IGNORE"}) {
    EXPECT_EQ(text.encoding(name), U_INVALID_CE) << name;
  }
  EXPECT_EQ(text.encoding_name(U_DEFAULT_CE), "");
}

TEST(Converter, TakesACharacterInPieces) {
  auto converter = Converter::open("UTF-8", "UTF-16LE");
  ASSERT_TRUE(converter);
  std::string out;
  for (const char byte : std::string("a\xE2\x82\xAC")) {
    EXPECT_TRUE(converter->convert({&byte, 1}, out));
  }
  EXPECT_TRUE(converter->finish(out));
  EXPECT_EQ(out, std::string("a\0\xAC\x20", 4));
  EXPECT_TRUE(converter->convert("\xE2\x82", out));
  EXPECT_FALSE(converter->finish(out)) << "ends inside a character";
  EXPECT_FALSE(Converter::open("UTF-8", "ISO-8859-1")->convert("\xE2\x82\xAC", out));
}

TEST(Printable, ShowsTextAndTheBytesOfAllElse) {
  const struct {
    std::string text;
    const char* shown;
  } cases[] = {
      {"plain ~ text\\", "plain ~ text\\"},
      {"gr\xC3\xBC\xC3\x9F \xE6\x97\xA5\xF0\x9F\x98\x80",
       "gr\xC3\xBC\xC3\x9F \xE6\x97\xA5\xF0\x9F\x98\x80"},
      {std::string("\0\t\n\r\x1B\x7F", 6), "\\x00\\x09\\x0a\\x0d\\x1b\\x7f"},
      {"\x80\x9B\xFF\xC3", "\\x80\\x9b\\xff\\xc3"},
      {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},
      {"\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F", "\\xd8\\x9c\\xe2\\x80\\x8e\\xe2\\x80\\x8f"},
      {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9", "\xE2\x80\xA7\\xe2\\x80\\xa8\\xe2\\x80\\xa9"},
      {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", "\\xe2\\x80\\xaa\\xe2\\x80\\xae\xE2\x80\xAF"},
      {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9", "\xE2\x81\xA5\\xe2\\x81\\xa6\\xe2\\x81\\xa9"},
  };
  for (const auto& c : cases) EXPECT_EQ(printable(c.text), c.shown);
  EXPECT_EQ(printable_name("\x1B[3m\x80\xC2\x9B\xC3\xBC\n\xE2\x80\xAE\\"), "?[3m??\xC3\xBC??\\");
  std::string line;
  Log log([&line](std::string_view text) { line = text; });
  log.write("client",
            "a\xC2\x9B"
            "b\n");
  EXPECT_TRUE(
      line.ends_with("client: a\\xc2\\x9b"
                     "b"))
      << line;
}

TEST(ToolkitText, EveryByteSurvives) {
  std::string text = "plain \xC3\xA9 \xF0\x9F\x98\x80 \xED\xA0\x80";  // the last is no character
  for (int byte = 255; byte > 0; --byte) text += static_cast<char>(byte);
  std::u32string characters = to_toolkit_text(text);
  EXPECT_EQ(characters[6], U'\u00E9');
  EXPECT_EQ(from_toolkit_text(characters.c_str()), text);
}

}  // namespace
}  // namespace fileref::runtime
