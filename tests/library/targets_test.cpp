// Texts that stand for remote files.
#include <gtest/gtest.h>

#include "fileref/fileref.h"

namespace fileref {
namespace {

using std::string_literals::operator""s;

TEST(Targets, AreTakenApart) {
  const struct {
    const char* text;
    const char* parts;  // user, host, path, client arguments
  } cases[] = {
      {"sftp://h/f", "|h|/f|"},
      {"sftp://u@h:2222/a/b", "u|h|/a/b|-P 2222 "},
      {"sftp://u@h/~/a%20b", "u|h|a b|"},
      {"sftp://u@[::1]:22/f", "u|[::1]|/f|-P 22 "},
      {"sftp://[::1]/f", "|[::1]|/f|"},
      {"sftp://do%40main@h/f", "do@main|h|/f|"},
      {"local:/f%20", "||/f%20|-B 131072 -R 8 -D /usr/lib/openssh/sftp-server "},
  };
  for (const auto& c : cases) {
    const Target target = Target::parse(c.text);
    std::string words;
    for (const std::string& word : target.client_arguments) words += word + " ";
    EXPECT_EQ(target.user + "|" + target.host + "|" + target.path + "|" + words, c.parts) << c.text;
  }
}

bool parses(const std::string& text) {
  try {
    Target::parse(text);
    return true;
  } catch (const UsageError&) {
    return false;
  }
}

TEST(Targets, AreRefused) {
  const std::string hosts[] = {"evil:x]", "h:/etc/passwd", "-oProxyCommand=x",
                               "a b",     "a\tb",          "h/",
                               "::1",     "[::1",          "[]",
                               "[::1]x",  "[a b]",         "[a'b]",
                               "u@h",     "a'b",           "$(x)",
                               "a;b",     "a\x7f",         "h%20x",
                               "a\nb",    "a\0b"s};
  for (const std::string& host : hosts) {
    Target target;
    target.host = host;
    EXPECT_THROW(target.check(), UsageError) << host;
    const bool is_another_target = host.find_first_of("/:@") != host.npos && host != "evil:x]";
    EXPECT_EQ(is_another_target || !parses("sftp://" + host + "/f"), true) << host;
  }
  for (const std::string user : {"-oX", "a b", "u/", "a\nb", "a'b", "`x`", "u:secret"}) {
    Target target;
    target.user = user;
    EXPECT_THROW(target.check(), UsageError) << user;
  }
  const char* texts[] = {"f",
                         "sftp:///f",
                         "sftp://@h/f",
                         "sftp://evil:x]/f",
                         "sftp://h:0/f",
                         "sftp://h:65536/f",
                         "sftp://h:22x/f",
                         "sftp://h/%zz",
                         "sftp://h/%00",
                         "sftp://u%20v@h/f",
                         "sftp://u%2Fv@h/f",
                         "sftp://-u@h/f"};
  for (const char* text : texts) EXPECT_FALSE(parses(text)) << text;
  for (const char* text : {"sftp://u:secret@h/f", "sftp://u%3Asecret@h/f", "sftp://u:secret@h:x/%",
                           "sftp://u:secret/more@h/f", "sftp://u%3asecret%@h/f"}) {
    try {
      Target::parse(text);
      ADD_FAILURE() << text;
    } catch (const UsageError& error) {
      EXPECT_EQ(std::string(error.what()).find("secret"), std::string::npos) << error.what();
    }
  }
  Target names = Target::parse("local:");
  for (const std::string& wrong : {""s, "a\0"s}) {
    names.names = {"a", wrong};
    EXPECT_THROW(names.check(), UsageError);
  }
}

}  // namespace
}  // namespace fileref
