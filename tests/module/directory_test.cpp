// Directories: their members one by one, what kind they are, and members as files.
#include "sup/src/yxsftp/directory.h"

#include "tests/module/module_host.h"

namespace fileref {
namespace {

constexpr char kPrompt[] = "sftp> ";
constexpr char kNotThere[] = "Couldn't stat: No such file or directory\nsftp> ";

class Directories : public testing::Test {
 protected:
  ~Directories() override { client().script.clear(); }

  ScriptedClient& client() { return host_.client; }
  AMENT& table() { return host_.table(); }
  // A listing of these names.
  static Answer listing(const std::string& names) {
    return Chunk("sftp> ls \n" + names + "\n" + kPrompt);
  }

  void assign(const std::string& options = "", const std::string& physical = "/d") {
    ASSERT_EQ(host_.assign("LIB", physical, "HOST='h' DIR " + options), kSuccess);
  }
  rctype open(ptr* directory, const char* name = "lib") {
    runtime::Name8 logical = runtime::name8(name);
    host_.runtime.begin_entry(name);
    return table().amdopen.entryp(directory, logical.data(), host_.runtime.request());
  }
  rctype close(ptr directory) { return table().amdclos.entryp(directory); }

  rctype next(ptr directory, std::string* member, int flag = 0) {
    char name[512];
    int length = 0;
    std::string type(8, '?');
    info_ = {};
    host_.runtime.begin_entry("LIB");
    const rctype rc =
        table().amdnext.entryp(&cursor_, directory, name, &length, type.data(), flag, &info_);
    *member = std::string(name, static_cast<size_t>(length));
    if (flag != 0) *member += "<" + type + ">";
    return rc;
  }
  // All members to the end, each with a "|" behind it.
  std::string all(ptr directory, int flag = 0) {
    std::string names, member;
    rctype rc = kSuccess;
    while ((rc = next(directory, &member, flag)) == kSuccess) names += member + "|";
    return rc == kEndOfMembers ? names : names + std::to_string(static_cast<unsigned>(rc));
  }

  rctype open_member(ptr* file, ptr directory, std::string name, const char* type = nullptr,
                     int mode = kOpenInput, const std::string& options = "") {
    WX_OPENPARM parms{};
    parms.openmode = mode;
    if (!options.empty()) parms.hostptr = host_.options(options);
    host_.runtime.begin_entry("LIB");
    return table().ammopen.entryp(file, directory, name.data(), static_cast<int>(name.size()),
                                  const_cast<char*>(type), &parms);
  }
  rctype exists(ptr directory, std::string name, const char* type = nullptr) {
    host_.runtime.begin_entry("LIB");
    return table().ammexst.entryp(directory, name.data(), static_cast<int>(name.size()),
                                  const_cast<char*>(type));
  }
  int open_count() { return host_.fileref("LIB")->open; }

  ModuleHost host_;
  ptr cursor_ = nullptr;
  WX_INFOPARM info_;
};

TEST_F(Directories, ListTheirMembersOverAndOver) {
  ptr directory = nullptr;
  assign();
  ASSERT_EQ(open(&directory), kSuccess);
  EXPECT_EQ(client().dialogue(), "") << "nothing is started yet";
  EXPECT_EQ(host_.deassign("LIB"), kStillOpen);
  client().script = {kPrompt, kPrompt, listing("a  b.c"), listing(""), listing("c")};
  EXPECT_EQ(all(directory), "a|b.c|");
  EXPECT_EQ(all(directory), "");
  std::string member;
  EXPECT_EQ(next(directory, &member), kSuccess);
  EXPECT_EQ(member, "c");
  EXPECT_EQ(client().dialogue(), "sftp   h\ncd \"/d\"\nls \nls \nls \n");
  EXPECT_EQ(close(directory), kSuccess);
  EXPECT_EQ(close(nullptr), kNullPointer);
  EXPECT_EQ(next(nullptr, &member), kNullPointer);
  EXPECT_EQ(host_.deassign("LIB"), kSuccess);
}

TEST_F(Directories, AreRefusedForOtherFilerefs) {
  ptr directory = nullptr;
  host_.assign("LIB", "/d/x");
  EXPECT_EQ(open(&directory), kWrongUse);
  EXPECT_EQ(host_.logged(), "error: " + message_text<message::NotADirectory>("SFTP") + "|");
  EXPECT_EQ(open_count(), 0);
  EXPECT_EQ(open(&directory, "nobody"), kNotAssigned);
  EXPECT_EQ(host_.attached(), "NOBODY");
  EXPECT_EQ(directory, nullptr);
  host_.deassign("LIB");
}

TEST_F(Directories, TellKindsAndTypes) {
  const struct {
    int flag;
    const char* name;
    const char* handed_out;
  } cases[] = {
      {0, "data.2024.csv", "data.2024.csv"},
      {kSplitType, "data.2024.csv", "data<2024.csv>"},
      {kCopyType, "data.2024.csv", "data.2024.csv<2024.csv>"},
      {kSplitType | kCopyType, "a.b", "a<b       >"},
      {kSplitType, "data.longer.type", "data<longer.t>"},
      {kSplitType, "noext", "noext<        >"},
      {kSplitType, "end.", "end<        >"},
      {kSplitType, ".profile", ".profile<        >"},
      {kFindKind, "a.b", "a.b<        >"},
      {kFindKind | kSplitType, "a.b", "a<b       >"},
  };
  ptr directory = nullptr;
  std::string member;
  assign("LSA");
  open(&directory);
  client().script = {kPrompt, kPrompt};
  for (const auto& c : cases) {
    client().script.push_back(listing(c.name));
    ASSERT_EQ(next(directory, &member, c.flag), kSuccess);
    EXPECT_EQ(member, c.handed_out);
    ASSERT_EQ(next(directory, &member), kEndOfMembers);
  }
  client().dialogue();
  client().script = {listing("sub file gone"), kPrompt, kPrompt, kNotThere,
                     "canonicalise: no\nsftp> "};
  for (const long kind : {kInfoDirectory, kInfoFile, kInfoFile}) {
    ASSERT_EQ(next(directory, &member, kFindKind), kSuccess);
    EXPECT_EQ(info_.flag, kind) << member;
    EXPECT_EQ(std::string(info_.devtype, 8), "SFTP    ");
    EXPECT_EQ(std::string(info_.pname, static_cast<size_t>(info_.namelen)) + "<        >", member);
  }
  EXPECT_EQ(client().dialogue(), "ls -a \ncd \"sub\"\ncd ..\ncd \"file\"\ncd \"gone\"\n");
  close(directory);
  host_.deassign("LIB");
}

TEST_F(Directories, ReportWhatFails) {
  const auto failed = [](const char* name) {
    return message_text<message::RemoteNameFailed>(name);
  };
  const auto late = message_text<message::NoAnswerInTime>();
  const struct {
    std::deque<Answer> script;  // behind that of the directory's own `cd`
    rctype rc;
    std::string attached;
    std::string logged;
  } cases[] = {
      {{Answer(kRefused)}, kFailed, failed("ls "), "note: ls |"},
      {{Answer(Chunk(kNoAnswerInTime))}, kFailed, late, ""},
      {{Answer(kNotThere)}, kFailed, failed("/d"), ""},
      {{listing("a"), kRefused}, kFailed, failed("a"), "note: cd \"a\"|"},
      {{listing("a"), Chunk(kNoAnswerInTime)}, kFailed, late, ""},
      {{listing("a"), Chunk(kProcessFailed)}, kFailed, failed("a"), ""},
      {{listing("a"), kPrompt, kRefused}, kFailed, failed("a"), "note: cd ..|"},
      {{listing("a"), kPrompt, Chunk(kNoAnswerInTime)}, kFailed, late, ""},
      {{listing("a"), kPrompt, Chunk(kProcessFailed)}, kFailed, failed("a"), ""},
      {{listing("a"), kPrompt, kNotThere}, kFailed, failed("a"), ""},
  };
  for (const auto& c : cases) {
    ptr directory = nullptr;
    std::string member;
    assign();
    open(&directory);
    client().script = {kPrompt, kPrompt};
    client().script.insert(client().script.end(), c.script.begin(), c.script.end());
    EXPECT_EQ(next(directory, &member, kFindKind), c.rc);
    EXPECT_EQ(host_.attached(), c.attached);
    EXPECT_EQ(host_.logged(), c.logged);
    EXPECT_EQ(close(directory), kSuccess);
    EXPECT_EQ(host_.deassign("LIB"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
  }
  ptr directory = nullptr;
  assign();
  open(&directory);
  client().script = {kPrompt, kPrompt, listing("a b")};
  char name[512];
  char type[8];
  int length = 0;
  EXPECT_EQ(table().amdnext.entryp(&cursor_, directory, name, &length, type, kFindKind, nullptr),
            kNullPointer);
  close(directory);
  host_.deassign("LIB");
}

// A client that cannot find back would work in the wrong directory ever after.
TEST_F(Directories, GiveUpAClientThatIsLost) {
  ptr directory = nullptr;
  ptr file = nullptr;
  std::string member;
  assign();
  open(&directory);
  client().script = {kPrompt, kPrompt, listing("sub a"), kPrompt, kNotThere};
  EXPECT_EQ(next(directory, &member, kFindKind), kFailed);
  EXPECT_EQ(client().alive, 0);
  EXPECT_EQ(next(directory, &member, kFindKind), kFailed) << "nobody is left to ask";
  client().files["a"] = "1\n";
  client().dialogue();
  EXPECT_EQ(open_member(&file, directory, "a"), kSuccess);
  EXPECT_EQ(client().dialogue(), "2> sftp   h\n2> cd \"/d\"\n2> get \"a\" \"TEMP\"\n");
  close(directory);
  table().ammclos.entryp(file);
  host_.deassign("LIB");
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
      {"FILEEXT", "r", "        ", "r."},        {"LS MGET", "a b", nullptr, "a b"},
      {"FILEEXT LSA", "r", "A B     ", "r.A"},
  };
  for (const auto& c : cases) {
    ptr directory = nullptr;
    ptr file = nullptr;
    assign(c.assigned);
    open(&directory);
    client().files = {{c.remote, "one\ntwo\n"}};
    ASSERT_EQ(open_member(&file, directory, c.name, c.type, kOpenInput, "LRECL=99"), kSuccess)
        << host_.attached();
    EXPECT_EQ(open_count(), 2);
    EXPECT_EQ(static_cast<FFCB*>(file)->lrecl, 99);
    EXPECT_EQ(host_.read_all(file), "one|two|") << c.remote;
    // They may be closed in any order.
    EXPECT_EQ(close(directory), kSuccess);
    EXPECT_EQ(host_.deassign("LIB"), kStillOpen);
    EXPECT_EQ(table().ammclos.entryp(file), kSuccess);
    EXPECT_EQ(host_.deassign("LIB"), kSuccess);
    client().started = 0;
    EXPECT_EQ(client().dialogue(),
              "sftp   h\ncd \"/d\"\nget \"" + std::string(c.remote) + "\" \"TEMP\"\n");
  }
}

// The options of an open may hide that the fileref is a directory; its client works there all the
// same.
TEST_F(Directories, AreEnteredWhateverTheOpenSays) {
  ptr file = nullptr;
  assign();
  EXPECT_EQ(host_.open(&file, "LIB", kOpenInput, "LSA"), kSuccess);
  EXPECT_EQ(client().dialogue(), "sftp   h\ncd \"/d\"\nls -a \n");
  host_.close(file);
  host_.deassign("LIB");
}

}  // namespace
}  // namespace fileref
