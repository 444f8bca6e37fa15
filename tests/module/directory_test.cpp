// Directories: their members one by one, what kind they are, and members as files.
#include "sup/src/yxsftp/directory.h"

#include "tests/module/module_host.h"

namespace fileref {
namespace {

constexpr char kPrompt[] = "sftp> ";
constexpr char kNotThere[] = "Couldn't stat: No such file or directory\nsftp> ";
constexpr char kStart[] = "sftp   h\ncd \"/d\"\n";

std::string get(const std::string& name) {
  return "get \"" + name + "\" \"TEMP\"\n";
}
Answer listing(const std::string& names) {
  return Chunk("sftp> ls \n" + names + "\nsftp> ");
}

// A fileref LIB, and a directory that is open on it.
class Directories : public testing::Test {
 protected:
  void open(const std::string& options = "", const std::string& physical = "/d") {
    ASSERT_EQ(host_.assign("LIB", physical, "HOST='h' DIR " + options), kSuccess);
    ASSERT_EQ(try_to_open(), kSuccess);
  }
  rctype try_to_open() {
    host_.runtime.begin_entry("LIB");
    return table_.amdopen.entryp(&directory_, name_.data(), host_.runtime.request());
  }
  rctype close() { return table_.amdclos.entryp(directory_); }
  // Gives everything back, if the host still lets the directory go.
  void finish(rctype rc = kSuccess) {
    EXPECT_EQ(close(), rc);
    EXPECT_EQ(host_.deassign("LIB"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
    host_.client.script.clear();
    host_.client.started = 0;
    host_.client.dialogue();
  }

  // The member as it is handed out, "NAME<TYPE>".
  rctype next(std::string* member, int flag = 0) {
    char name[512];
    int length = 0;
    std::string type(8, '?');
    info_ = {};
    host_.runtime.begin_entry("LIB");
    const rctype rc =
        table_.amdnext.entryp(&cursor_, directory_, name, &length, type.data(), flag, &info_);
    *member = std::string(name, size_t(length)) + "<" + type + ">";
    return rc;
  }
  std::string all() {
    std::string names, member;
    rctype rc = kSuccess;
    while ((rc = next(&member)) == kSuccess) names += member.substr(0, member.find('<')) + "|";
    return rc == kEndOfMembers ? names : names + std::to_string(static_cast<unsigned>(rc));
  }
  ptr open_member(std::string name, const char* type = nullptr, int mode = kOpenInput,
                  const std::string& options = "", rctype rc = kSuccess) {
    ptr file = nullptr;
    WX_OPENPARM parms{};
    parms.openmode = mode;
    if (!options.empty()) parms.hostptr = host_.options(options);
    host_.runtime.begin_entry("LIB");
    EXPECT_EQ(table_.ammopen.entryp(&file, directory_, name.data(), static_cast<int>(name.size()),
                                    const_cast<char*>(type), &parms),
              rc)
        << host_.attached();
    return file;
  }
  rctype exists(std::string name, const char* type = nullptr) {
    return table_.ammexst.entryp(directory_, name.data(), static_cast<int>(name.size()),
                                 const_cast<char*>(type));
  }
  int open_count() { return host_.fileref("LIB")->open; }

  ModuleHost host_;
  AMENT& table_ = host_.table();
  runtime::Name8 name_ = runtime::name8("lib");
  ptr directory_ = nullptr, cursor_ = nullptr;
  WX_INFOPARM info_;
};

TEST_F(Directories, ListTheirMembersOverAndOver) {
  std::string member;
  open();
  EXPECT_EQ(host_.client.dialogue(), "") << "nothing is started yet";
  EXPECT_EQ(host_.deassign("LIB"), kStillOpen);
  host_.client.script = {kPrompt, kPrompt, listing("a  b.c"), listing(""), listing("c d")};
  EXPECT_EQ(all(), "a|b.c|");
  EXPECT_EQ(all(), "");
  EXPECT_EQ(next(&member), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), std::string(kStart) + "ls \nls \nls \n");
  finish();
  directory_ = nullptr;
  EXPECT_EQ(next(&member), kNullPointer);
  EXPECT_EQ(try_to_open(), kNotAssigned);
  EXPECT_EQ(host_.attached(), "LIB");
  host_.assign("LIB", "/d/x");
  EXPECT_EQ(try_to_open(), kWrongUse);
  EXPECT_EQ(host_.logged(), "error: " + message_text<message::NotADirectory>("SFTP") + "|");
  finish(kNullPointer);
}

TEST_F(Directories, TellKindsAndTypes) {
  const struct {
    int flag;
    const char* name;
    const char* handed_out;
    std::deque<Answer> probe = {};
    long kind = 0;
    const char* asked = "";
  } cases[] = {
      {0, "data.2024.csv", "data.2024.csv<        >"},
      {kSplitType, "data.2024.csv", "data<2024.csv>"},
      {kCopyType, "data.2024.csv", "data.2024.csv<2024.csv>"},
      {kSplitType | kCopyType, "a.b", "a<b       >"},
      {kSplitType, "data.longer.type", "data<longer.t>"},
      {kSplitType, "noext", "noext<        >"},
      {kSplitType, "end.", "end<        >"},
      {kSplitType, ".profile", ".profile<        >"},
      {kFindKind, "s", "s<        >", {kPrompt, kPrompt}, kInfoDirectory, "cd \"s\"\ncd ..\n"},
      {kFindKind | kSplitType, "a.b", "a<b       >", {kNotThere}, kInfoFile, "cd \"a.b\"\n"},
      {kFindKind, "x", "x<        >", {"canonicalise: no\nsftp> "}, kInfoFile, "cd \"x\"\n"},
  };
  std::string member;
  open("LSA");
  EXPECT_EQ(all(), "");
  for (const auto& c : cases) {
    host_.client.dialogue();
    host_.client.script = c.probe;
    host_.client.script.push_front(listing(c.name));
    ASSERT_EQ(next(&member, c.flag), kSuccess);
    EXPECT_EQ(member, c.handed_out);
    EXPECT_EQ(info_.flag, c.kind) << member;
    EXPECT_EQ(host_.client.dialogue(), "ls -a \n" + std::string(c.asked));
    if (c.kind != 0) {
      EXPECT_EQ(std::string(info_.devtype, 8), "SFTP    ");
      EXPECT_EQ(std::string(info_.pname, size_t(info_.namelen)), c.name);
    }
    ASSERT_EQ(next(&member), kEndOfMembers);
  }
  host_.client.script = {listing("a b")};
  char name[512], type[8];
  int length = 0;
  EXPECT_EQ(table_.amdnext.entryp(&cursor_, directory_, name, &length, type, kFindKind, nullptr),
            kNullPointer);
  finish();
}

TEST_F(Directories, ReportWhatFails) {
  const auto failed = [](const char* name) {
    return message_text<message::RemoteNameFailed>(name);
  };
  const auto late = message_text<message::NoAnswerInTime>();
  const Answer silence = Chunk(kNoAnswerInTime), broken = Chunk(kProcessFailed), a = listing("a");
  const struct {
    std::deque<Answer> script;
    std::string attached;
    std::string logged;
  } cases[] = {
      {{Answer(kRefused)}, failed("ls "), "note: ls |"},
      {{silence}, late, ""},
      {{Answer(kNotThere)}, failed("/d"), ""},
      {{a, kRefused}, failed("a"), "note: cd \"a\"|"},
      {{a, silence}, late, ""},
      {{a, broken}, failed("a"), ""},
      {{a, kPrompt, kRefused}, failed("a"), "note: cd ..|"},
      {{a, kPrompt, silence}, late, ""},
      {{a, kPrompt, broken}, failed("a"), ""},
      {{a, kPrompt, kNotThere}, failed("a"), ""},
  };
  for (const auto& c : cases) {
    std::string member;
    open();
    host_.client.script = c.script;
    host_.client.script.insert(host_.client.script.begin(), 2, kPrompt);
    EXPECT_EQ(next(&member, kFindKind), kFailed);
    EXPECT_EQ(host_.attached(), c.attached);
    EXPECT_EQ(host_.logged(), c.logged);
    finish();
  }
}

// A client that cannot find back would work in the wrong directory ever after.
TEST_F(Directories, GiveUpAClientThatIsLost) {
  std::string member;
  open();
  host_.client.script = {kPrompt, kPrompt, listing("sub a"), kPrompt, kNotThere};
  EXPECT_EQ(next(&member, kFindKind), kFailed);
  EXPECT_EQ(host_.client.alive, 0);
  EXPECT_EQ(next(&member, kFindKind), kFailed) << "nobody is left to ask";
  host_.client.files["a"] = "1\n";
  host_.client.dialogue();
  ptr file = open_member("a");
  EXPECT_EQ(host_.client.dialogue(), "2> sftp   h\n2> cd \"/d\"\n2> get \"a\" \"TEMP\"\n");
  EXPECT_EQ(table_.ammclos.entryp(file), kSuccess);
  finish();
}

TEST_F(Directories, OpenTheirMembers) {
  const struct {
    const char* assigned;
    const char* name;
    const char* type;
    const char* remote;
  } cases[] = {
      {"", "report", "CSV     ", "report"},      {"FILEEXT", "report", "CSV     ", "report.CSV"},
      {"FILEEXT", "report", nullptr, "report"},  {"FILEEXT", "r.txt", "CSV     ", "r.txt"},
      {"FILEEXT", ".rc", "CSV     ", ".rc.CSV"}, {"FILEEXT", "r", "LONGTYPE", "r.LONGTYPE"},
      {"FILEEXT", "r", "        ", "r."},        {"FILEEXT LSA", "r", "A B     ", "r.A"},
      {"LS MGET", "a b", nullptr, "a b"},
  };
  for (const auto& c : cases) {
    open(c.assigned);
    host_.client.files = {{c.remote, "one\ntwo\n"}};
    ptr file = open_member(c.name, c.type, kOpenInput, "LRECL=99");
    EXPECT_EQ(open_count(), 2);
    EXPECT_EQ(static_cast<FFCB*>(file)->lrecl, 99);
    EXPECT_EQ(host_.read_all(file), "one|two|") << c.remote;
    EXPECT_EQ(host_.client.dialogue(), kStart + get(c.remote));
    // They may be closed in any order.
    EXPECT_EQ(close(), kSuccess);
    EXPECT_EQ(host_.deassign("LIB"), kStillOpen);
    EXPECT_EQ(table_.ammclos.entryp(file), kSuccess);
    directory_ = nullptr;
    finish(kNullPointer);
  }
}

TEST_F(Directories, SendAndFindTheirMembers) {
  open("FILEEXT WAIT_MILLISECONDS=9");
  ptr file = open_member("new", "TXT     ", kOpenOutput);
  host_.write(file, "line");
  EXPECT_EQ(table_.ammclos.entryp(file), kSuccess);
  EXPECT_EQ(host_.client.files["new.TXT"], "line\n");
  file = open_member("new", "TXT     ", kOpenOutput);
  host_.client.script = {kRefused};
  EXPECT_EQ(table_.ammclos.entryp(file), kFailed);
  EXPECT_EQ(table_.ammclos.entryp(open_member("x", nullptr, 0)), kSuccess);
  EXPECT_EQ(open_member("gone", nullptr, kOpenInput, "CD='x'", kFailed), nullptr);
  EXPECT_EQ(host_.attached(), message_text<message::RemoteNameFailed>("gone"));
  host_.pauses.clear();
  EXPECT_EQ(exists("new", "TXT     "), kSuccess);
  EXPECT_EQ(host_.pauses, std::vector<long>(2, 9)) << "get, and the look";
  EXPECT_EQ(exists("gone"), kDoesNotExist);
  EXPECT_EQ(host_.attached(), "4|gone");
  EXPECT_EQ(open_count(), 1);
  finish();
  directory_ = nullptr;
  EXPECT_EQ(exists("new"), kDoesNotExist);
  open_member("x", nullptr, kOpenInput, "LRECL=9", kNullPointer);
}

TEST_F(Directories, FilerefsAndTheirFilesExist) {
  const struct {
    const char* physical;
    Answer answer;
    rctype rc;
    const char* command;
    std::string options = {};
  } cases[] = {
      {"README", listing("a readme b"), kSuccess, "ls \n"},
      {"README", listing("readme.x README2"), kDoesNotExist, "ls \n"},
      {"README", listing(""), kDoesNotExist, "ls \n"},
      {".rc", "sftp> ls -a \n. ..\n.rc\nsftp> ", kSuccess, "ls -a \n"},
      {".rc", "sftp> ls -a \n. ..\n.rc\nsftp> ", kSuccess, "ls -a \n", "LS"},
      {"", listing("a"), kDoesNotExist, "ls \n"},
      {"README", Chunk(kNoAnswerInTime), kFailed, "ls \n"},
  };
  const rebid reb = host_.runtime.request();
  EXPECT_EQ(table_.amexstl.entryp(name_.data(), reb), kNotAssigned);
  EXPECT_EQ(table_.amexstp.entryp(name_.data(), reb), kNotAssigned);
  for (const auto& c : cases) {
    host_.assign("LIB", c.physical, "HOST='h' " + c.options);
    EXPECT_EQ(table_.amexstl.entryp(name_.data(), reb), kSuccess);
    host_.client.script = {kPrompt, c.answer};
    EXPECT_EQ(table_.amexstp.entryp(name_.data(), reb), c.rc) << c.physical;
    EXPECT_EQ(host_.client.dialogue(), std::string("sftp   h\n") + c.command);
    finish(kNullPointer);
  }
}

// What a start that failed leaves stands somewhere else.
TEST_F(Directories, AFailedStartServesNoFileThatWasOpenBefore) {
  std::string member;
  open();
  ptr file = open_member("out", nullptr, kOpenOutput);
  ASSERT_EQ(host_.write(file, "data"), kSuccess);
  host_.client.script = {listing("sub"), kPrompt, Chunk(kEndOfOutput)};
  EXPECT_EQ(next(&member, kFindKind), kFailed) << "it does not get back";
  EXPECT_EQ(host_.client.alive, 0);
  host_.client.script = {kPrompt, kNotThere};
  open_member("x", nullptr, kOpenInput, "", kFailed);
  EXPECT_EQ(host_.client.alive, 1) << "it stays until the deassignment";
  host_.client.dialogue();
  EXPECT_EQ(table_.ammclos.entryp(file), kFailed);
  EXPECT_EQ(host_.attached(), message_text<message::RemoteNameFailed>("out"));
  EXPECT_EQ(host_.client.dialogue(), "") << "nothing is sent to where it stands";
  file = open_member("out", nullptr, kOpenOutput);
  ASSERT_EQ(host_.write(file, "data"), kSuccess);
  EXPECT_EQ(table_.ammclos.entryp(file), kSuccess) << "another start may do better";
  EXPECT_EQ(host_.client.dialogue(), "3> sftp   h\n3> cd \"/d\"\n3> put \"TEMP\" \"out\"\n");
  finish();
}

// The options of an open may hide that the fileref is a directory.
TEST_F(Directories, AreEnteredWhateverTheOpenSays) {
  ptr file = nullptr;
  open();
  EXPECT_EQ(host_.open(&file, "LIB", kOpenInput, "LSA"), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), std::string(kStart) + "ls -a \n");
  EXPECT_EQ(host_.close(file), kSuccess);
  finish();
}

// What a directory was opened with holds until it is closed, for its members too.
TEST_F(Directories, OutliveAReassignment) {
  for (const bool last : {false, true}) {  // the directory is closed last
    ptr other = nullptr;
    open("LRECL=50");
    host_.client.files = {{"m", "1\n"}, {"f", "2\n"}};
    EXPECT_EQ(last ? all() : "f|m|", "f|m|");
    ASSERT_EQ(host_.assign("LIB", "f", "HOST='new'"), kSuccess);
    EXPECT_EQ(host_.open(&other, "LIB", kOpenInput), kSuccess);
    ptr member = open_member("m");
    EXPECT_EQ(static_cast<FFCB*>(member)->lrecl, 50);
    EXPECT_EQ(host_.client.dialogue(),
              last ? kStart + std::string("ls \n2> sftp   new\n2> ") + get("f") + get("m")
                   : "sftp   new\n" + get("f") + "2> sftp   h\n2> cd \"/d\"\n2> " + get("m"));
    EXPECT_EQ(all(), "f|m|");
    EXPECT_EQ(host_.client.dialogue(), last ? "ls \n" : "2> ls \n");
    EXPECT_EQ(host_.close(other), kSuccess);
    EXPECT_EQ(host_.deassign("LIB"), kStillOpen);
    EXPECT_EQ(last ? table_.ammclos.entryp(member) : close(), kSuccess);
    EXPECT_EQ(host_.client.alive, 2);
    EXPECT_EQ(last ? close() : table_.ammclos.entryp(member), kSuccess);
    EXPECT_EQ(host_.client.alive, 1) << "the earlier client goes with the last that is closed";
    directory_ = nullptr;
    finish(kNullPointer);
  }
}

}  // namespace
}  // namespace fileref
