// Filerefs: what an assignment makes of its names and options, and how it is found and undone.
#include <cstring>

#include "sup/src/yxsftp/entries.h"
#include "tests/module/module_host.h"
#include "tests/module/service_watch.h"

namespace fileref {
namespace {

using runtime::name8;

std::string text(ptr start, int length) {
  return start == nullptr ? "-"
                          : std::string(static_cast<char*>(start), static_cast<size_t>(length));
}

class Assignment : public testing::Test {
 protected:
  void TearDown() override {
    while (host_.method->data != nullptr) {
      const FLCB* first = static_cast<FAMMCB*>(host_.method->data)->flcb;
      ASSERT_EQ(host_.deassign(std::string(first->logname, 8)), kSuccess);
    }
  }
  std::string list() const {
    std::string names;
    for (const FLCB* flcb = static_cast<FAMMCB*>(host_.method->data)->flcb; flcb != nullptr;
         flcb = flcb->next) {
      names += runtime::trimmed({flcb->logname, 8});
    }
    return names;
  }

  ModuleHost host_;
};

TEST_F(Assignment, SplitsThePhysicalName) {
  const struct {
    const char* physical;
    const char* options;
    int directory;  // its length
    const char* member;
    const char* cd;
    int flag;
    const char* program;
  } cases[] = {
      {"/home/u/data.txt", "", 7, "data.txt", "-", 0x400, "sftp"},
      {"data.txt", "NEW", 0, "data.txt", "-", 0x400, "sftp"},
      {"/data.txt", "", 0, "/data.txt", "-", 0x400, "sftp"},
      {"/", "", 0, "/", "-", 0x400, "sftp"},
      {"//", "", 1, "", "-", 0x400, "sftp"},
      {"dir/", "", 3, "", "-", 0x400, "sftp"},
      {"C:\\dir\\f", "", 6, "f", "-", 0x400, "sftp"},
      {"/a\\b", "", 2, "b", "-", 0x400, "sftp"},
      {"\\b", "", 0, "\\b", "-", 0x400, "sftp"},
      {"a/b\\c", "", 1, "b\\c", "-", 0x400, "sftp"},
      {"(a b/c)", "MGET", 0, "-", "-", 0x400, "sftp"},
      {"", "", 0, "-", "-", 0x400, "sftp"},
      {"/d/e", "DIR", 0, "-", "/d/e", 0x100401, "sftp"},
      {"", "DIR", 0, "-", "-", 0x100401, "sftp"},
      {"d/e", "CD='/x y'", 1, "e", "/x y", 0x400, "sftp"},
      {"d/e", "CD=''", 1, "e", "-", 0x400, "sftp"},
      {"e", "PATH='/opt/my sftp'", 0, "e", "-", 0x400, "/opt/my sftp"},
      {"e", "PATH='x' PATH=''", 0, "e", "-", 0x400, "sftp"},
  };
  const FLCB* first = nullptr;
  for (const auto& c : cases) {
    // All but the first are reassignments: nothing of the earlier one shows.
    ASSERT_EQ(host_.assign("A", c.physical, c.options), kSuccess) << c.physical;
    const FLCB* flcb = host_.fileref("A");
    if (first == nullptr) first = flcb;
    EXPECT_EQ(flcb, first);
    EXPECT_EQ(text(flcb->pn, flcb->pnl + 1), c.physical + std::string(1, '\0'));
    EXPECT_EQ(flcb->pathl, c.directory) << c.physical;
    EXPECT_EQ(text(flcb->member, flcb->memberl), c.member) << c.physical;
    EXPECT_EQ(text(flcb->cd, flcb->cdl), c.cd) << c.physical;
    EXPECT_EQ(flcb->flag, c.flag) << c.physical;
    EXPECT_EQ(text(flcb->sftp_server, flcb->sftp_serverl), c.program);
    EXPECT_EQ(text(flcb->termstr, flcb->termlen), "\n");
    EXPECT_EQ(flcb->buflen, 16385u);
    EXPECT_EQ(host_.client.started, 0) << "nothing is started yet";
  }
  host_.logged();
  ASSERT_EQ(host_.assign("B", "/d", "DIR CD='/x'"), kSuccess);
  EXPECT_EQ(host_.logged(), "warning: " + message_text<message::CdIgnored>() + "|");
  EXPECT_EQ(text(host_.fileref("B")->cd, host_.fileref("B")->cdl), "/d");
}

TEST_F(Assignment, AReassignmentKeepsItsPlace) {
  for (const char* name : {"A", "B", "C"}) ASSERT_EQ(host_.assign(name, "f"), kSuccess);
  FLCB* before = host_.fileref("B");
  const long out = host_.runtime.outstanding();
  ASSERT_EQ(host_.assign("B", "g", "HOST='other'"), kSuccess);
  EXPECT_EQ(host_.fileref("B"), before);
  EXPECT_STREQ(before->amb->host, "other");
  EXPECT_EQ(list(), "CBA");
  EXPECT_EQ(host_.runtime.outstanding(), out) << "the earlier assignment is released";
  ASSERT_EQ(host_.deassign("B"), kSuccess);
  EXPECT_EQ(list(), "CA");
}

TEST_F(Assignment, ABlankNameIsReplaced) {
  char names[][9] = {"        ", "\0.......", "        "};
  for (char* name : names) {
    char physical[] = "f";
    ASSERT_EQ(yxsasgn(name, host_.runtime.request(), kSftp, physical, 1, host_.options("")),
              kSuccess);
    EXPECT_NE(find_in_method(host_.method, name), nullptr) << name;
  }
  EXPECT_STRNE(names[0], names[2]);
}

TEST_F(Assignment, IsRefusedWithoutOptionsOrMethod) {
  char name[] = "IN      ";
  char physical[] = "f";
  char other[] = "NOSUCH  ";
  EXPECT_EQ(yxsasgn(name, host_.runtime.request(), kSftp, physical, 1, nullptr), kNotAssigned);
  EXPECT_EQ(host_.attached(), "IN");
  EXPECT_EQ(host_.logged(), "error: " + message_text<message::NoOptions>("SFTP", "SFTP") + "|");
  EXPECT_EQ(yxsasgn(name, host_.runtime.request(), other, physical, 1, host_.options("")),
            kUnknownMethod);
  EXPECT_EQ(host_.method->data, nullptr);
}

TEST_F(Assignment, LooksTheMethodUpWhereAssignmentsLive) {
  for (const int local : {0, 1}) {
    ServiceWatch watch(host_.runtime);
    host_.runtime.access_method_control.fileassignlocal = local;
    ASSERT_EQ(host_.assign("A", "f", ""), kSuccess);
    EXPECT_EQ(watch.calls["yxamscp"], local);
    ASSERT_EQ(host_.deassign("A"), kSuccess);
  }
}

TEST_F(Assignment, IsFoundInBothMethodBlocks) {
  ASSERT_EQ(host_.assign("OWN", "f"), kSuccess);
  FLCB elsewhere{};
  std::memcpy(elsewhere.logname, "ELSE    ", 8);
  FAMMCB list{&elsewhere};
  AMMCB second = *host_.method;
  second.data = &list;
  AMMCB foreign = second;
  std::memcpy(foreign.method, "OTHER   ", 8);
  host_.runtime.registry.assign(name8("ELSE"), &second);
  host_.runtime.registry.assign(name8("FOREIGN"), &foreign);
  const struct {
    const char* name;
    AMMCB* given;
    rctype rc;
    AMMCB* found_in;
  } cases[] = {
      {"OWN     ", nullptr, kSuccess, host_.method}, {"own     ", nullptr, kSuccess, host_.method},
      {"else    ", nullptr, kSuccess, &second},      {"OWN     ", &second, kNotAssigned, nullptr},
      {"ELSE    ", &second, kSuccess, &second},      {"FOREIGN ", nullptr, kNotAssigned, nullptr},
      {"nobody  ", nullptr, kNotAssigned, nullptr},
  };
  for (const auto& c : cases) {
    std::string name = c.name;
    AMMCB* ammcb = c.given;
    FLCB* flcb = nullptr;
    host_.runtime.begin_entry("");
    EXPECT_EQ(yxszl2l(name.data(), &ammcb, &flcb, host_.runtime.request()), c.rc) << c.name;
    if (c.rc == kSuccess) {
      EXPECT_EQ(ammcb, c.found_in) << c.name;
      EXPECT_EQ(flcb, c.found_in == &second ? &elsewhere : host_.fileref("OWN"));
    } else {
      EXPECT_EQ(host_.attached(), runtime::upper_ascii(runtime::trimmed(c.name)));
      EXPECT_EQ(flcb, nullptr);
    }
    EXPECT_EQ(yxszl2l(name.data(), nullptr, nullptr, host_.runtime.request()),
              c.given == nullptr ? c.rc : kSuccess)
        << c.name << ", nothing stored";
  }
}

TEST_F(Assignment, TellsAboutItself) {
  ASSERT_EQ(host_.assign("F", "/d/f"), kSuccess);
  ASSERT_EQ(host_.assign("D", "/d", "DIR"), kSuccess);
  const struct {
    const char* name;
    rctype rc;
    long flag;
    const char* physical;
  } cases[] = {{"f       ", kSuccess, kInfoFile, "/d/f"},
               {"D       ", kSuccess, kInfoDirectory, "/d"},
               {"nobody  ", kNotAssigned, 0, ""}};
  for (const auto& c : cases) {
    std::string name = c.name;
    WX_INFOPARM info{};
    EXPECT_EQ(host_.table().aminfo.entryp(nullptr, name.data(), host_.runtime.request(), 0, nullptr,
                                          &info),
              c.rc);
    EXPECT_EQ(std::string(info.devtype, 8), "SFTP    ");
    EXPECT_EQ(info.flag, c.flag);
    EXPECT_EQ(std::string(info.pname != nullptr ? info.pname : "", size_t(info.namelen)),
              c.physical);
  }
  EXPECT_EQ(host_.attached(), "NOBODY");

  for (const char* format : {"F", "V", "S"}) {
    ptr file = nullptr;
    const std::string options = std::string("LRECL=70 NONBYTE RECFM=") + format;
    ASSERT_EQ(host_.open(&file, "F", kOpenOutput, options), kSuccess);
    WX_INFOPARM info{};
    info.filesize = 1;
    info.flag = 0x100;
    EXPECT_EQ(yxsinfo(file, nullptr, host_.runtime.request(), 0, nullptr, &info), kSuccess);
    EXPECT_EQ(info.recfm, *format == 'F' ? kRecfmFixed : kRecfmVariable);
    EXPECT_EQ(info.datalen, 70);
    EXPECT_EQ(info.filesize, 0);
    EXPECT_EQ(info.flag, 0x100 | kInfoFile);
    EXPECT_EQ(std::string(info.pname, size_t(info.namelen)), "/d/f");
    ASSERT_EQ(host_.close(file), kSuccess);
  }
}

TEST_F(Assignment, LosesItsOptionsToTheHost) {
  ASSERT_EQ(host_.assign("A", "/d/f", "HOST='h' CD='/x' OPTIONS='-v' BATCHFILE='b'"), kSuccess);
  FLCB* flcb = host_.fileref("A");
  char nobody[] = "nobody  ";
  char name[] = "a       ";
  const long out = host_.runtime.outstanding();
  EXPECT_EQ(yxshbfr(nobody, host_.runtime.request(), flcb->amb), kNotAssigned);
  EXPECT_EQ(host_.attached(), "NOBODY");
  EXPECT_EQ(host_.runtime.outstanding(), out) << "nothing is released";
  ptr file = nullptr;
  flcb->amb->debug &= ~kOptionBatch;
  ASSERT_EQ(host_.open(&file, "A", 0), kSuccess);
  EXPECT_EQ(yxshbfr(name, host_.runtime.request(), flcb->amb), kSuccess);
  EXPECT_EQ(flcb->amb, nullptr);
  EXPECT_EQ(host_.close(file), kSuccess);
  // A block of no options: no host, no CD.
  flcb->flag |= kSessionPending;
  host_.client.dialogue();
  ASSERT_EQ(host_.open(&file, "A", 0, "HOST='late'"), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "2> sftp   late\n2> cd \"/d\"\n");
  EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(Assignment, IsUndoneOnlyWhenNothingIsOpen) {
  char nobody[] = "nobody  ";
  EXPECT_EQ(yxsdasg(nobody, host_.runtime.request()), kNotAssigned);
  EXPECT_EQ(host_.attached(), "nobody") << "the name as it was passed";
  ASSERT_EQ(host_.assign("A", "f"), kSuccess);
  ptr files[2];
  for (ptr& file : files) ASSERT_EQ(host_.open(&file, "a", kOpenOutput), kSuccess);
  for (ptr& file : files) {
    EXPECT_EQ(host_.deassign("A"), kStillOpen);
    EXPECT_EQ(host_.attached(), "A");
    EXPECT_EQ(host_.close(file), kSuccess);
  }
  EXPECT_EQ(host_.client.alive, 1) << "the client outlives its files";
  EXPECT_EQ(host_.deassign("A"), kSuccess);
  EXPECT_EQ(host_.client.alive, 0);
  EXPECT_EQ(host_.method->data, nullptr) << "the list lives only while it holds something";
}

}  // namespace
}  // namespace fileref
