// Several remote files, read as one.
#include "sup/src/yxsftp/entries.h"
#include "sup/src/yxsftp/mget.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

constexpr char kPrompt[] = "sftp> ";

std::string get(const std::string& name) {
  return "get \"" + name + "\" \"TEMP\"\n";
}

class MultipleGet : public testing::Test {
 protected:
  // A fileref M; its client runs, so that scripts begin with what the open asks for.
  void assign(const std::string& physical, const std::string& options = "") {
    ASSERT_EQ(host_.assign("M", physical, "HOST='h' MGET " + options), kSuccess);
    ptr file = nullptr;
    ASSERT_EQ(host_.open(&file, "M", 0), kSuccess);
    ASSERT_EQ(host_.close(file), kSuccess);
    host_.client.dialogue();
    host_.client.started = 0;
  }
  ptr open(int mode = kOpenInput) {
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "M", mode), kSuccess) << host_.attached();
    EXPECT_EQ(host_.fileref("M")->open, file == nullptr ? 0 : 1);
    return file;
  }
  // Gives the file and the fileref back: nothing may stay.
  void finish(ptr file) {
    EXPECT_EQ(host_.close(file), kSuccess);
    EXPECT_EQ(host_.deassign("M"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
    host_.client.script.clear();
  }
  static std::string failed(const std::string& name) {
    return message_text<message::RemoteNameFailed>(name.c_str());
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
      {"('x", {}, kNotInListing},
      {"(a \"x' )", {}, kNotInListing},
      {"(a 'n" + n511 + "')", {}},
  };
  for (const auto& c : cases) {
    ptr file = nullptr;
    std::string gets;
    for (const std::string& name : c.names) gets += get(name);
    assign(c.list);
    EXPECT_EQ(host_.open(&file, "M", kOpenInput), c.rc) << c.list;
    EXPECT_EQ(host_.client.dialogue(), gets);
    const bool too_long = c.list.size() > 512 && c.names.empty();
    const std::string attached = too_long ? failed(c.list.substr(4)) : failed("(no name)");
    EXPECT_EQ(host_.attached(), c.rc == kFailed ? attached : "") << c.list;
    EXPECT_EQ(host_.deassign("M"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
  }
}

TEST_F(MultipleGet, PassesOverWhatCannotBeFetched) {
  for (const char* phrase : {"Cannot download d: not a regular file", "No Such File or directory",
                             "x: unable to open", "error while reading: failure"}) {
    const std::string refusal = phrase + std::string("\nsftp> ");
    for (size_t refused = 0; refused < 4; ++refused) {
      assign("(a b empty c)");
      host_.client.files = {{"a", "1\n2\n"}, {"b", "3\n"}, {"empty", ""}, {"c", "4\n"}};
      host_.client.script.assign(refused, kPrompt);
      host_.client.script.emplace_back(refusal.c_str());
      ptr file = open();
      const char* records[] = {"3|4|", "1|2|4|", "1|2|3|4|", "1|2|3|"};
      EXPECT_EQ(host_.read_all(file), records[refused]) << phrase;
      EXPECT_EQ(host_.client.dialogue(), get("a") + get("b") + get("empty") + get("c"));
      EXPECT_EQ(host_.read_all(file), "") << "the end stays the end";
      EXPECT_EQ(host_.client.dialogue(), "");
      finish(file);
    }
  }
}

TEST_F(MultipleGet, StopsAtAFailure) {
  const auto late = message_text<message::NoAnswerInTime>();
  const std::string command = "get \"b\" \"" + host_.runtime.temp.directory();
  const struct {
    Answer answer;
    std::string attached;
    std::string logged;
  } cases[] = {
      {kRefused, failed(command), "note: get \"b\" \"TEMP\"|"},
      {Chunk(kNoAnswerInTime), late, ""},
      {Chunk(kEndOfOutput), failed(command), ""},
      {Chunk(kProcessFailed), failed(command), ""},
  };
  host_.client.files = {{"a", "1\n"}, {"b", "2\n"}, {"c", "3\n"}};
  const std::string failure = std::to_string(static_cast<unsigned>(kFailed));
  for (const auto& c : cases) {
    assign("(b)");
    host_.client.script = {c.answer};
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "M", kOpenInput), kFailed);
    const size_t name_end = c.attached.find("/fileref-tmp");
    EXPECT_EQ(host_.attached().substr(0, name_end), c.attached.substr(0, name_end));
    EXPECT_EQ(host_.logged(), c.logged);
    host_.deassign("M");
    assign("(a b c)");
    file = open();
    host_.client.script = {c.answer};
    EXPECT_EQ(host_.read_all(file), "1|" + failure);
    EXPECT_EQ(host_.client.script.size(), 0u);
    host_.client.dialogue();
    EXPECT_EQ(host_.read_all(file), failure) << "again";
    EXPECT_EQ(host_.client.dialogue(), "") << "nothing more is fetched";
    host_.logged();
    finish(file);
  }
}

// The host holds a file that has come to its end early: it may only be closed.
TEST_F(MultipleGet, EndsWhenTheNextFileCannotBeOpened) {
  assign("(a b)", "RECFM=V");
  host_.client.files = {{"a", "1\n"}};
  ptr file = nullptr;
  EXPECT_EQ(host_.open(&file, "M", kOpenInput, "LRECL=9"), kSuccess);
  WX_AMVEC* vector = nullptr;
  W_INFSTR* list = nullptr;
  EXPECT_EQ(yxsamvc(file, &vector), kSuccess);
  host_.client.script = {kPrompt};  // and leaves no file
  EXPECT_EQ(host_.read_all(file), "1|" + std::to_string(static_cast<unsigned>(kTempFailure)));
  EXPECT_EQ(host_.fileref("M")->open, 0);
  std::string record;
  long length = 0;
  ptr start = nullptr;
  tchar cc = ' ';
  WX_INFOPARM info{};
  EXPECT_EQ(host_.read(file, &record), kNullPointer);
  EXPECT_EQ(vector->amfpread(vector->amfcb, &start, &length, &cc), kNullPointer);
  EXPECT_EQ(yxsrds(file, &start, &length, &cc), kNullPointer);
  EXPECT_EQ(host_.write(file, "x"), kNullPointer);
  EXPECT_EQ(yxsamvc(file, &vector), kNullPointer);
  EXPECT_EQ(yxsins(file, &list), kNullPointer);
  EXPECT_EQ(yxsinfo(file, nullptr, nullptr, 0, nullptr, &info), kNullPointer);
  POOL& heap = host_.runtime.memory.heap();
  heap.free(&heap, vector, 0, kRelease);
  EXPECT_EQ(host_.deassign("M"), kSuccess);
  EXPECT_EQ(host_.runtime.outstanding(), 1) << "the empty block";
  EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(MultipleGet, MayBeClosedAtAnyPoint) {
  for (int reads = 0; reads < 6; ++reads) {
    assign("(a b)");
    host_.client.files = {{"a", "1\n2\n"}, {"b", "3\n"}};
    ptr file = open(reads % 2 == 0 ? kOpenInput : kOpenInput | kOpenOutput);
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
  ptr file = open();
  ptr start = nullptr;
  long length = 0;
  EXPECT_EQ(yxsrds(file, &start, &length, nullptr), kSuccess);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(yxsrds(file, &start, &length, nullptr), kEndOfFile);
  EXPECT_EQ(host_.client.dialogue(), get("a"));
  finish(file);
}

}  // namespace
}  // namespace fileref
