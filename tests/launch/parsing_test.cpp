#include <gtest/gtest.h>

#include <set>

#include "runtime/launch/command.h"
#include "runtime/launch/command_line.h"
#include "runtime/launch/delivery.h"
#include "runtime/launch/directory_listing.h"
#include "runtime/launch/framing.h"
#include "runtime/launch/listing.h"
#include "runtime/launch/openssh.h"

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
  }
  for (const std::string& line : {"sftp 'h"s, "sftp \"h"s, "sftp \"h\\\""s, "sftp h\\"s, "a\0b"s}) {
    std::string why;
    EXPECT_FALSE(split_words(line, &why)) << line;
    EXPECT_NE(why, "") << line;
  }
}

TEST(Command, IsTakenApart) {
  const std::pair<std::string, std::string> cases[] = {
      {"cd \"/a b\"\n", "0</a b><>"},
      {"mkdir \"a\"b\"\n", "1<a\"b><>"},
      {"cd \"\"\n", "0<><>"},
      {"get \"x\" \"/tmp/1\"\n", "2<x></tmp/1>"},
      {"get \"x\" \"y\" \"/tmp/1\"\n", "2<x\" \"y></tmp/1>"},
      {"get \"\" \"/tmp/1\"\n", "2<></tmp/1>"},
      {"put \"/tmp/1\" \"x\" \"y\"\n", "3<x\" \"y></tmp/1>"},
      {"put \"/tmp/1\" \"a\nb\"\n", "3<a\nb></tmp/1>"},
      {"ls \n", "4<><>"},
      {"ls -a \n", "4<><>all"},
      {"ls -a\n", "4<-a><>"},
      {"ls  a \"b\" \n", "4< a \"b\" ><>"},
      {"cd ..\n", "5<><>"},
  };
  std::string why;
  for (const auto& [text, expected] : cases) {
    const auto command = parse_command(text, &why);
    ASSERT_TRUE(command) << text;
    EXPECT_EQ(std::to_string(static_cast<int>(command->verb)) +
                  joined({command->remote, command->local}) + (command->dot_names ? "all" : ""),
              expected);
  }
  for (const char* text : {"", "\n", "cd x\n", "cd \"", "cd \"\n", "cd \"x", "get \"x\"\n",
                           "rm \"x\"\n", "!sh\n", " cd \"x\"\n", "CD \"x\"\n"}) {
    EXPECT_FALSE(parse_command(text, &why)) << text;
  }
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
  EXPECT_EQ(openssh::literal_path("-x") + openssh::literal_path("x-"), "./-xx-");
}

TEST(Listing, TellsWhatANameStandsFor) {
  struct Case {
    const char *name, *lines, *err;
    RemoteFile::Kind kind;
    std::optional<std::uint64_t> size = {};
  };
  using enum RemoteFile::Kind;
  const Case cases[] = {
      {"f", "-rw-r--r--    ? root     root            6 Nov 22 21:25 f\n", "", kFile, 6},
      {"f", "-rw-r--r--    1 1000     1000     18446744073709551615 Jan  1  1970 f\n", "", kFile,
       18446744073709551615U},
      {"f", "-rw-r--r--    1 1000     1000     99999999999999999999 Jan  1  1970 f\n", "",
       kUnknown},
      {"f", "-rw-r--r--    ? dom user domain 7 users  6 Nov  2  2021 f\n", "noise", kFile, 6},
      {"a b/f 7 Nov 22 21:25 g", "-rw-r--r-- ? u g 6 Nov 22 21:25 a b/f 7 Nov 22 21:25 g\n", "",
       kFile, 6},
      {"f", "?---------    ? 0        0              6 Jan  1  1970 f\n", "", kFile, 6},
      {"d", "-rw-r--r--    ? root     root            6 Nov 22 21:25 d/f\n", "", kDirectory},
      {"..", "-rw-r--r--    ? root     root            6 Nov 22 21:25 ../f\n", "", kDirectory},
      {"/", "-rw-r--r--    ? root     root            6 Nov 22 21:25 /f\n", "", kDirectory},
      {"d", "-rw-r--r-- ? u g 6 Nov 22 21:25 d/f\n-rw-r--r-- ? u g 6 Nov 22 21:25 d/g\n", "",
       kDirectory},
      {"d", "", "", kDirectory},
      {"f", "", "Can't ls: \"/f\" not found\r\n", kUnknown},
      {"p", "prw-r--r--    ? root     root            0 Nov 22 21:25 p\n", "", kOther},
      {"l", "lrwxrwxrwx    ? root     root            7 Nov 22 21:25 l\n", "", kUnknown},
      {"f", "-rw-r--r-- f\n", "", kUnknown},
      {"f", "f 6 Nov 22 21:25 f\n", "", kUnknown},
      {"f", "-rw-r--r-- 6 Nov 22 21:25 \n", "", kUnknown},
  };
  for (const Case& c : cases) {
    const RemoteFile file = read_listing({"sftp> ls -ln x\n"s + c.lines, c.err}, c.name);
    EXPECT_EQ(file.kind, c.kind) << c.name << ": " << c.lines;
    EXPECT_EQ(file.size, c.size) << c.name << ": " << c.lines;
  }
}

TEST(DirectoryListing, IsReadWholeOrNotAtAll) {
  const auto line = [](const std::string& path, const std::string& mode = "-rw-r--r-- ") {
    return mode + "   ? a b  6 Nov 22 21:25 " + path + "\n";
  };
  struct Case {
    std::string lines;
    std::size_t slashes;
    std::string result;
  };
  const Case cases[] = {
      {"", 0, ""},
      {line("b") + line(".") + line("a 7 Nov 22 21:25 c") + line(".."), 0,
       "-b -a 7 Nov 22 21:25 c "},
      {line("d/e/x", "drwxr-xr-x+") + line("d/e/y", "lrwxrwxrwx "), 2, "dx ly "},
      {line("a") + "b\n", 0, "there is a line feed in the name \"a\\nb\": rename that file"},
      {line(".") + "b\n", 0, "there is a line feed in the name \".\\nb\": rename that file"},
      {line("a") + "\n", 0, "there is a line feed in the name \"a\\n\": rename that file"},
      {"b\n", 0, "a line of it is not understood: \"b\""},
      {line("../a"), 0, "a line of it is not understood: \"" + line("../a").substr(0, 40) + "\""},
      {line("a"), 1, "a line of it is not understood: \"" + line("a").substr(0, 37) + "\""},
      {line("d/"), 1, "a line of it is not understood: \"" + line("d/").substr(0, 38) + "\""},
      {line(std::string(600, '\\') + std::string(387, 'x')), 0,
       "the client cuts the long path \"" + std::string(600, '\\') + std::string(387, 'x') + "\""},
  };
  for (const Case& c : cases) {
    std::string result;
    if (const auto listing = DirectoryListing::parse(c.lines, c.slashes, &result)) {
      for (const auto& entry : listing->entries())
        result += entry.type + std::string(entry.name) + ' ';
    }
    EXPECT_EQ(result, c.result);
  }
}

TEST(UnclearName, IsAnyMixtureOfBytesAndDigits) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\\001", "<a\x01=a\\001><a\\001=a\\\\001>"},
      {"\\377\"\\101\\200{",
       "<\xff\"\\101\x80{=\\377\\\"\\\\101\\200\\{>"
       "<\\377\"\\101\\200{=\\\\377\\\"\\\\101\\\\200\\{>"
       "<\\377\"\\101\x80{=\\\\377\\\"\\\\101\\200\\{>"
       "<\xff\"\\101\\200{=\\377\\\"\\\\101\\\\200\\{>"},
  };
  for (const auto& [shown, expected] : cases) {
    std::string candidates;
    UnclearName name(shown);
    while (const auto candidate = name.next()) {
      candidates += '<' + candidate->name + '=' + candidate->shown + '>';
    }
    EXPECT_EQ(candidates, expected);
  }
}

TEST(Delivery, IsCutAtTheEndsOfLines) {
  Delivery text;
  text.append("ab\ncdefgh\ni\n\nj");
  std::string pieces;
  for (char buffer[4]; text.left() > 0;) {
    pieces += '<' + std::string(buffer, text.take(buffer, sizeof buffer)) + '>';
  }
  EXPECT_EQ(pieces, "<ab\n><cdef><gh\n><i\n\nj>");
}

TEST(Nonce, IsNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) seen.insert(make_nonce());
  EXPECT_EQ(seen.size(), 100u);
  EXPECT_EQ(seen.begin()->size(), 32u);
}

}  // namespace
}  // namespace fileref::runtime
