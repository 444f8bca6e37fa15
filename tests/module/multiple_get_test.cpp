// Several remote files, read as one.
#include <set>

#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/mget.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

constexpr char kPrompt[] = "sftp> ";

std::string get(const std::string& name) {
  return "get \"" + name + "\" \"TEMP\"\n";
}
std::string failed(const std::string& name) {
  return message_text<message::RemoteNameFailed>(name.c_str());
}

class MultipleGet : public testing::Test {
 protected:
  // A fileref M; its client runs, so that scripts begin with what the open asks for.
  void assign(const std::string& physical, const std::string& options = "") {
    ptr file = nullptr;
    ASSERT_EQ(host_.assign("M", physical, "HOST='h' MGET " + options), kSuccess);
    ASSERT_EQ(host_.open(&file, "M", 0), kSuccess);
    ASSERT_EQ(host_.close(file), kSuccess);
    host_.client.dialogue();
    host_.client.started = 0;
  }
  ptr open(rctype rc = kSuccess, int mode = kOpenInput) {
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "M", mode), rc) << host_.attached();
    EXPECT_EQ(host_.fileref("M")->open, rc == kSuccess ? 1 : 0);
    return file;
  }
  // Gives the file, if there is one, and the fileref back: nothing may stay.
  void finish(ptr file) {
    EXPECT_EQ(host_.close(file), file == nullptr ? kNullPointer : kSuccess);
    EXPECT_EQ(host_.deassign("M"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
    host_.client.script.clear();
  }

  ModuleHost host_;
};

// No file is there, so that all names of a list are tried.
TEST_F(MultipleGet, TakesNamesFromAList) {
  const std::string n511(511, 'n');
  const struct {
    std::string list;
    std::vector<std::string> names;
    rctype rc = kFailed;
    std::string attached = failed("(no name)");
  } cases[] = {
      {"(a 'b c' d)", {"a", "b c", "d"}},
      {"(report.txt)", {"report.txt"}},
      {"(abc def", {"abc", "def"}},
      {"(  a   b  )", {"a", "b"}},
      {"()", {}},
      {"(", {}},
      {"(a ) b", {"a"}},
      {"(a b) ", {"a", "b)"}},
      {"(a)b)", {"a)b"}},
      {"(\"it's\" '')", {"it's", ""}},
      {"('a'b c)", {"a", "c"}},
      {"('a')", {"a"}},
      {"(" + n511 + " 'z')", {n511, "z"}},
      {"('x", {}, kNotInListing, ""},
      {"(a \"x' )", {}, kNotInListing, ""},
      {"(a 'n" + n511 + "')", {}, kFailed, failed("n" + n511)},
  };
  for (const auto& c : cases) {
    std::string gets;
    for (const std::string& name : c.names) gets += get(name);
    assign(c.list);
    open(c.rc);
    EXPECT_EQ(host_.client.dialogue(), gets);
    EXPECT_EQ(host_.attached(), c.attached) << c.list;
    finish(nullptr);
  }
}

TEST_F(MultipleGet, TakesNamesFromAListing) {
  const struct {
    const char* physical;
    Answer listing;
    const char* asked;
    const char* records;  // or none, and what is attached
    const char* failed = "";
  } cases[] = {
      {"/data/*.csv", "sftp> ls \na.csv b.csv\nsftp> ", "ls *.csv\n", "1|2|"},
      {"", "sftp> ls \nother a.csv .h\nsftp> ", "ls \n", "1|3|"},
      {"/data/*.csv", "no such file or directory\nsftp> ", "ls *.csv\n", nullptr, "ls *.csv"},
      {"/data/*.csv", "sftp> ls \ngone\nsftp> ", "ls *.csv\n", nullptr, "/dir"},
  };
  host_.client.files = {{"a.csv", "1\n"}, {"b.csv", "2\n"}, {".h", "3\n"}};
  for (const auto& c : cases) {
    assign(c.physical, "CD='/dir'");
    host_.client.script = {c.listing};
    ptr file = open(c.records == nullptr ? kFailed : kSuccess);
    EXPECT_TRUE(host_.client.dialogue().starts_with(c.asked)) << c.asked;
    if (c.records == nullptr) {
      EXPECT_EQ(host_.attached(), failed(c.failed));
    } else {
      EXPECT_EQ(host_.read_all(file), c.records);
    }
    finish(file);
  }
}

TEST_F(MultipleGet, PassesOverWhatCannotBeFetched) {
  const char* records[] = {"3|4|", "1|2|4|", "1|2|3|4|", "1|2|3|"};
  for (const char* phrase : {"Cannot download d: not a regular file", "No Such File or directory",
                             "x: unable to open", "error while reading: failure"}) {
    for (size_t refused = 0; refused < 4; ++refused) {
      assign("(a b empty c)");
      host_.client.files = {{"a", "1\n2\n"}, {"b", "3\n"}, {"empty", ""}, {"c", "4\n"}};
      host_.client.script.assign(refused, kPrompt);
      host_.client.script.emplace_back(Chunk(phrase + std::string("\nsftp> ")));
      ptr file = open();
      EXPECT_EQ(host_.read_all(file), records[refused]) << phrase;
      EXPECT_EQ(host_.read_all(file), "") << "the end stays the end";
      EXPECT_EQ(host_.client.dialogue(), get("a") + get("b") + get("empty") + get("c"));
      finish(file);
    }
  }
}

TEST_F(MultipleGet, StopsAtAFailure) {
  const std::string failure = std::to_string(static_cast<unsigned>(kFailed));
  const struct {
    Answer answer;
    std::string attached;  // begins so
    std::string logged;
  } cases[] = {
      {kRefused, "\"get \"b\" \"/", "note: get \"b\" \"TEMP\"|"},
      {Chunk(kNoAnswerInTime), message_text<message::NoAnswerInTime>(), ""},
      {Chunk(kEndOfOutput), "\"get \"b\" \"/", ""},
      {Chunk(kProcessFailed), "\"get \"b\" \"/", ""},
  };
  host_.client.files = {{"a", "1\n"}, {"b", "2\n"}, {"c", "3\n"}};
  for (const auto& c : cases) {
    for (const bool at_open : {true, false}) {
      assign(at_open ? "(b)" : "(a b c)");
      ptr file = at_open ? nullptr : open();
      host_.client.dialogue();
      host_.client.script = {c.answer};
      if (at_open) {
        open(kFailed);
      } else {
        EXPECT_EQ(host_.read_all(file), "1|" + failure);
        host_.client.dialogue();
        EXPECT_EQ(host_.read_all(file), failure) << "again";
        EXPECT_EQ(host_.client.dialogue(), "") << "nothing more is fetched";
      }
      EXPECT_TRUE(host_.attached().starts_with(c.attached)) << host_.attached();
      EXPECT_EQ(host_.logged(), c.logged);
      finish(file);
    }
  }
}

// The host holds a file that has come to its end early: it may only be closed.
TEST_F(MultipleGet, EndsWhenTheNextFileCannotBeOpened) {
  assign("(a b)", "RECFM=V");
  host_.client.files = {{"a", "1\n"}};
  ptr file = nullptr, start = nullptr;
  EXPECT_EQ(host_.open(&file, "M", kOpenInput, "LRECL=9"), kSuccess);
  host_.client.script = {kPrompt};  // and leaves no file
  EXPECT_EQ(host_.read_all(file), "1|" + std::to_string(static_cast<unsigned>(kTempFailure)));
  std::string record;
  long length = 0;
  WX_INFOPARM info{};
  EXPECT_EQ(
      (std::set<rctype>{host_.read(file, &record), yxsrds(file, &start, &length, nullptr),
                        host_.write(file, "x"), yxsamvc(file, nullptr), yxsins(file, nullptr),
                        yxsinf(file, nullptr), yxsinfo(file, nullptr, nullptr, 0, nullptr, &info)}),
      std::set<rctype>{kNullPointer});
  EXPECT_EQ(host_.deassign("M"), kSuccess) << "it is not counted any more";
  EXPECT_EQ(host_.runtime.outstanding(), 1) << "the empty block";
  EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(MultipleGet, GoesOnWhenAFileCannotBeClosed) {
  assign("(a b)", "RECFM=V");
  host_.client.files = {{"a", "1\n"}, {"b", "2\n"}};
  ptr file = open();
  std::string record;
  EXPECT_EQ(host_.read(file, &record), kSuccess);
  host_.runtime.service_faults.arm(1);
  EXPECT_EQ(host_.read(file, &record), kSuccess);
  EXPECT_TRUE(host_.runtime.service_faults.fired());
  EXPECT_EQ(record, "2");
  finish(file);
}

TEST_F(MultipleGet, MayBeClosedAtAnyPoint) {
  for (int reads = 0; reads < 6; ++reads) {
    assign("(a b)");
    host_.client.files = {{"a", "1\n2\n"}, {"b", "3\n"}};
    ptr file = open(kSuccess, reads % 2 == 0 ? kOpenInput : kOpenInput | kOpenOutput);
    std::string record;
    for (int i = 0; i < reads; ++i) {
      EXPECT_EQ(host_.read(file, &record), i < 3 ? kSuccess : kEndOfFile);
    }
    host_.client.dialogue();
    finish(file);
    EXPECT_EQ(host_.client.dialogue(), "") << "nothing is sent back";
  }
}

TEST_F(MultipleGet, StreamsEndWithTheFirstFile) {
  assign("(a b)", "RECFM=S NONBYTE");
  host_.client.files = {{"a", "12"}, {"b", "3"}};
  ptr file = open(), start = nullptr;
  long length = 0;
  EXPECT_EQ(yxsrds(file, &start, &length, nullptr), kSuccess);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(yxsrds(file, &start, &length, nullptr), kEndOfFile);
  EXPECT_EQ(host_.client.dialogue(), get("a"));
  finish(file);
}

}  // namespace
}  // namespace fileref
