// Listings, with the real client on the real file server.
#include <sys/stat.h>

#include <algorithm>

#include "runtime/name_escape.h"
#include "tests/launch/session.h"

namespace fileref::runtime {
namespace {

using Names = std::vector<std::string>;

class ListDialogue : public Session {
 protected:
  // All pieces of an answer, as a reader with room for `capacity` bytes takes them.
  std::string whole_answer(std::size_t capacity) {
    std::string text, piece(capacity, 0);
    do {
      EXPECT_EQ(client_->wait(milliseconds(1)), kSuccess);
      std::size_t length = 0;
      if (client_->read(0, piece.data(), capacity, &length) != kSuccess) return "failed";
      text.append(piece, 0, length);
      EXPECT_TRUE(text.ends_with('\n') || text.ends_with(kPrompt)) << "cut within a line";
    } while (!text.ends_with("\n" + kPrompt));
    return text;
  }

  // The listed names, or a single one that tells of a failure.
  Names list(const std::string& text, std::size_t capacity = 8192) {
    if (client_->send("ls " + text + "\n") != kSuccess) return {"not sent"};
    std::string answer = whole_answer(capacity);
    constexpr std::string_view kOpening = "sftp> ls\n. .. \n";
    if (!answer.starts_with(kOpening)) return {answer};
    answer.erase(0, kOpening.size());
    answer.erase(answer.size() - kPrompt.size());
    EXPECT_EQ(answer.find_first_of(" \r"), std::string::npos);
    EXPECT_EQ(answer.find("sftp>"), std::string::npos);
    Names names;
    for (std::size_t end; (end = answer.find('\n')) != std::string::npos;
         answer.erase(0, end + 1)) {
      names.push_back(unescape_name(answer.substr(0, end)));
    }
    return names;
  }

  void make(const Names& names) {
    for (const std::string& name : names) write_file(remote_ / name, "content of " + name);
  }
};

TEST_F(ListDialogue, CarriesAnyName) {
  Names names = {" ",
                 "  lead",
                 "trail  ",
                 "two  words",
                 "\t",
                 "a\tb",
                 "\r",
                 "\rx",
                 "x\r",
                 "'",
                 "\"",
                 "\\",
                 "a\\",
                 "\\\\",
                 "*",
                 "?",
                 "[a]",
                 "{a,b}",
                 "-",
                 "-l",
                 "--",
                 "a..b",
                 "...",
                 "..x",
                 "x..",
                 ".hidden",
                 ".",
                 "~",
                 "#x",
                 "!sh",
                 "$HOME",
                 "sftp>",
                 "sftp> ",
                 "sftp >",
                 "x sftp> y",
                 "SFTP>",
                 "no such file or directory",
                 "No Such File Or Directory",
                 "canonicalise",
                 "Couldn't Canonicalise: x",
                 "Invalid flag -a",
                 "\x10",
                 "\x1f",
                 "\x1b[31m",
                 "\x7f",
                 "\xc3\xa9",
                 "\xc2\x85",
                 "\xe2\x80\xae",
                 "\xff\xfe",
                 "\xc3",
                 "x\xc3y\x01",
                 "\\101",
                 "\\001",
                 "\001",
                 "\\377",
                 "\377",
                 "\\001\001",
                 "\001\\001",
                 "\\001\\001",
                 "\001\001",
                 "\\303\\251",
                 "\\303\xa9",
                 "a\\8",
                 "-rw-r--r-- 1 a b 7 Nov 22 21:25 z",
                 std::string(255, 'n'),
                 std::string(255, '\r'),
                 std::string(255, ' '),
                 std::string(127, '\xff') + "\\001"};
  std::erase(names, ".");
  make(names);
  std::sort(names.begin(), names.end());
  connect(kServer);
  const Names all = list("-a ");
  EXPECT_EQ(all, names);
  for (const std::string& name : all) {
    ASSERT_EQ(get(escape_name(name)), kPrompt) << name << client_->explanation();
    ASSERT_EQ(read_file(local_), "content of " + name);
  }
  EXPECT_EQ(list("*1"), (Names{"\001\\001", "\\001", "\\001\\001", "\\101", "\\303\\251",
                               std::string(127, '\xff') + "\\001"}));
}

}  // namespace
}  // namespace fileref::runtime
