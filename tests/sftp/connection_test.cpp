#include "runtime/sftp/connection.h"

#include "runtime/sftp/download.h"
#include "runtime/sftp/listing.h"
#include "runtime/sftp/requests.h"
#include "tests/sftp/memory_server.h"

namespace fileref::sftp {
namespace {

const std::string kGreeting("\0\0\0\5\2\0\0\0\3", 9);

TEST(Connection, BreaksWithAReasonAtWhatNoServerMaySay) {
  struct Row {
    std::string greeting, answer, fault;
  };
  const auto bytes = [](std::initializer_list<int> list) {
    return std::string(list.begin(), list.end());
  };
  const Row rows[] = {
      {"Welcome to this host!\n", "", "\"Welcome to this host!\"."},
      {"hello\n" + kGreeting, "", "\"hello\"."},
      {"no", "", "\"no\"."},
      {std::string("\0\0\0\5\2\0\0\0\2", 9), "", "version 2"},
      {std::string("\0\0\0\5\3\0\0\0\3", 9), "", "something else than SFTP"},
      {std::string("\0\0\0\7\2\0\0\0\3ab", 11), "", "greeting is cut off"},
      {kGreeting, bytes({0, 0, 0, 0}), "a packet of 0 bytes"},
      {kGreeting, bytes({127, 0, 0, 0}), "a packet of 2130706432 bytes"},
      {kGreeting, bytes({0, 0, 0, 1, 101}), "not asked"},
      {kGreeting, bytes({0, 0, 0, 9, 101, 0, 0, 0, 77, 0, 0, 0, 0}), "not asked (STATUS)"},
      {kGreeting, bytes({0, 0, 0, 9, 102, 0, 0, 0, 1, 0, 0, 0, 0}), "STAT with HANDLE"},
      {kGreeting, bytes({0, 0, 0, 9, 101, 0, 0, 0, 1, 0, 0, 0, 0}), "STAT with STATUS"},
      {kGreeting, bytes({0, 0, 0, 9, 105, 0, 0, 0, 1, 0, 0, 0, 1}), "STAT is cut off"},
      {kGreeting, bytes({0, 0, 0, 13, 105, 0, 0, 0, 1, 128, 0, 0, 0, 127, 1, 1, 1}),
       "STAT is cut off"},
  };
  for (const Row& row : rows) {
    Connection connection([] {});
    connection.receive(row.greeting);
    if (row.greeting.size() < kGreeting.size()) connection.end();
    Asker asker(connection);
    int answers = 0;
    if (!row.answer.empty()) {
      ask_attributes(asker, "x", [&](const Status&, const Attributes&) { ++answers; });
      connection.receive(row.answer);
    }
    EXPECT_NE(connection.fault().find(row.fault), std::string::npos)
        << connection.fault() << " lacks " << row.fault;
    EXPECT_EQ(connection.is_broken(), !row.fault.empty());
    EXPECT_TRUE(answers == 0 || !connection.is_broken());
  }
}

TEST(Connection, EveryCutAnswerIsWaitedForOrRefused) {
  std::string answer;
  Writer(answer, Type::kAttributes, 1).number32(5).number64(77).number32(0100644);
  for (std::size_t length = 0; length <= answer.size(); ++length) {
    // What arrives is cut, and so is what the packet says of its own length.
    for (const bool says_so : {false, true}) {
      Connection connection([] {});
      connection.receive(kGreeting);
      Asker asker(connection);
      std::optional<std::uint64_t> size;
      ask_attributes(asker, "x",
                     [&](const Status&, const Attributes& known) { size = known.size; });
      std::string cut = answer.substr(0, length);
      if (says_so && length > 4) cut[3] = static_cast<char>(length - 4);
      connection.receive(cut);
      EXPECT_EQ(size.has_value(), length == answer.size()) << length;
      EXPECT_EQ(connection.is_broken(), says_so && length > 4 && length < answer.size()) << length;
    }
  }
}

TEST(Connection, ARefusalReachesOnlyWhoAsked) {
  Wire wire({.refused = Type::kRemove});
  Asker one(wire.connection), other(wire.connection);
  std::string said;
  ask_status(one, Type::kRemove, "x", [&](const Status& status) { said += status.text() + '\n'; });
  open_file(other, "x", OpenFor::kReading, {},
            [&](const Status& status, std::string_view) { said += status.text() + '\n'; });
  wire.run();
  EXPECT_EQ(said, "failure\nno such file or directory\n");
  EXPECT_FALSE(wire.connection.is_broken());
  EXPECT_EQ((Status{kFailure, "Disk quota exceeded"}.text()), "failure (Disk quota exceeded)");
  EXPECT_EQ((Status{99, "Failure"}.text()), "unknown error code 99 (Failure)");
}

TEST(Connection, TheTraceShowsEachPacketAndNoData) {
  Wire wire;
  wire.server.files["/a\nb"].contents = "secret";
  Download download(wire.connection, "/a\nb", {}, [](std::string_view) { return true; });
  wire.run();
  for (const char* line : {"> 2 OPEN \"/a\\x0ab\"\n", "< 2 HANDLE <6831>\n", "> 4 READ <6831> 0 +",
                           "< 4 DATA 6 bytes\n", "< 3 ATTRS size 6 mode 100644\n"}) {
    EXPECT_NE(wire.trace.find(line), std::string::npos) << line << wire.trace;
  }
  EXPECT_EQ(wire.trace.find("secret"), std::string::npos);
  Asker asker(wire.connection);
  rename_over(asker, "/a\nb", "/to", [](const Status&) {});
  wire.run();
  EXPECT_NE(wire.trace.find(" \"/a\\x0ab\" \"/to\"\n"), std::string::npos) << wire.trace;
}

struct Listed {
  const char* what;
  Faults faults;
  std::vector<std::string> names;
  std::string failure;
};

TEST(Listing, GivesOutEveryNameOrFails) {
  std::vector<std::string> many;
  for (int i = 0; i < 5000; ++i) many.push_back("name" + std::to_string(10000 + i));
  const std::vector<std::string> odd{"a b", "line\nfeed", std::string(255, 'x'), "\xff", "..."};
  const Listed rows[] = {
      {"many", {}, many, ""},
      {"one at a time", {.names_at_once = 1, .empty_names = true}, many, ""},
      {"none", {}, {}, ""},
      {"odd", {}, odd, ""},
      {"a slash", {}, {"good", "../etc/passwd"}, "a name that no file can have"},
      {"a NUL", {}, {std::string("a\0b", 3)}, "a name that no file can have"},
      {"not opened", {.refused = Type::kOpenDirectory}, {"a"}, "failure"},
      {"not read", {.refused = Type::kReadDirectory}, {"a"}, "failure"},
      {"no end", {.names_at_once = 0}, {}, ""},
  };
  for (const Listed& row : rows) {
    SCOPED_TRACE(row.what);
    Wire wire(row.faults);
    for (const std::string& name : row.names) wire.server.files[name];
    std::vector<std::string> given;
    {
      Listing listing(wire.connection, "/d", [&](std::string_view name, const Attributes& known) {
        EXPECT_EQ(known.kind(), Kind::kFile);
        given.emplace_back(name);
      });
      wire.run();
      ASSERT_TRUE(listing.has_ended());
      EXPECT_NE(listing.failure().find(row.failure), std::string::npos) << listing.failure();
      EXPECT_EQ(listing.failure().empty(), row.failure.empty()) << listing.failure();
    }
    std::vector<std::string> all = row.names;
    std::sort(all.begin(), all.end());
    EXPECT_TRUE(!row.failure.empty() || given == all);
    wire.run();
    EXPECT_TRUE(wire.server.open.empty()) << "a handle was left open";
  }
}

}  // namespace
}  // namespace fileref::sftp
