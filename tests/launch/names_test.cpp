// Names on their way through the host.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>

#include "runtime/name_escape.h"

namespace fileref::runtime {
namespace {

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

TEST(NameEscape, IsUndoneForAllBytes) {
  const std::string pieces[] = {"sftp",  ">", "sftp>", "canonicalise", "CANONIC",
                                "ALISE", " ", "\r",    "\x10",         "\x1f",
                                ".",     "P", "s",     "No",           "'"};
  std::mt19937 random(1);
  const auto up_to = [&](std::size_t n) { return random() % n; };
  for (int round = 0; round < 20000; ++round) {
    std::string name;
    while (up_to(8) != 0) {
      if (up_to(2) == 0) {
        name += pieces[up_to(std::size(pieces))];
      } else {
        name += static_cast<char>(up_to(256));
      }
    }
    const std::string escaped = escape_name(name);
    ASSERT_EQ(unescape_name(escaped), name);
    ASSERT_EQ(unescape_name(protect_marks(name)), name);
    ASSERT_EQ(upper(escaped), upper(escape_name(upper(name)))) << "a name in another case";
    ASSERT_LE(escaped.size(), 2 * name.size());
    ASSERT_EQ(escaped.find_first_of(" \r'"), std::string::npos) << name;
    for (const char* text : {"SFTP>", "CANONICALISE"}) {
      ASSERT_EQ(upper(escaped).find(text), std::string::npos) << name;
    }
  }
}

}  // namespace
}  // namespace fileref::runtime
