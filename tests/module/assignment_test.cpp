// Filerefs: what an assignment makes of its names and options, and how it is found and undone.
#include <cstring>
#include <map>

#include "sup/src/yxsftp/entries.h"
#include "tests/module/module_host.h"
#include "tests/module/service_watch.h"

namespace fileref {
namespace {

std::string text(ptr start, int length) {
  return start == nullptr ? "-" : std::string(static_cast<char*>(start), size_t(length));
}

class Assignment : public testing::Test {
 protected:
  void TearDown() override {
    for (const char name : list()) EXPECT_EQ(host_.deassign(std::string(1, name)), kSuccess);
    EXPECT_EQ(host_.method->data, nullptr) << "the list lives only while it holds something";
  }
  // The first letters of the assigned names.
  std::string list() const {
    std::string names;
    const auto* all = static_cast<FAMMCB*>(host_.method->data);
    for (const FLCB* f = all != nullptr ? all->flcb : nullptr; f != nullptr; f = f->next) {
      names += f->logname[0];
    }
    return names;
  }

  ModuleHost host_;
  REB* request_ = host_.runtime.request();
};

TEST_F(Assignment, SplitsThePhysicalName) {
  const struct {
    const char* physical;
    const char* options;
    int directory;  // its length
    const char* member;
    const char* cd;
    const char* program = "sftp";
  } cases[] = {
      {"/home/u/data.txt", "", 7, "data.txt", "-"},
      {"data.txt", "NEW", 0, "data.txt", "-"},
      {"/data.txt", "", 0, "/data.txt", "-"},
      {"//", "", 1, "", "-"},
      {"dir/", "", 3, "", "-"},
      {"C:\\dir\\f", "", 6, "f", "-"},
      {"/a\\b", "", 2, "b", "-"},
      {"\\b", "", 0, "\\b", "-"},
      {"a/b\\c", "", 1, "b\\c", "-"},
      {"(a b/c)", "MGET", 0, "-", "-"},
      {"", "", 0, "-", "-"},
      {"/d/e", "DIR", 0, "-", "/d/e"},
      {"", "DIR", 0, "-", "-"},
      {"d/e", "CD='/x y'", 1, "e", "/x y"},
      {"d/e", "CD=''", 1, "e", "-"},
      {"e", "PATH='/opt/my sftp'", 0, "e", "-", "/opt/my sftp"},
      {"e", "PATH='x' PATH=''", 0, "e", "-"},
  };
  ASSERT_EQ(host_.assign("A", "x/y"), kSuccess);
  const FLCB* flcb = host_.fileref("A");
  for (const auto& c : cases) {
    ASSERT_EQ(host_.assign("A", c.physical, c.options), kSuccess) << c.physical;
    EXPECT_EQ(host_.fileref("A"), flcb) << "it stays where it is";
    EXPECT_EQ(text(flcb->pn, flcb->pnl + 1), c.physical + std::string(1, '\0'));
    EXPECT_EQ(flcb->pathl, c.directory) << c.physical;
    EXPECT_EQ(text(flcb->member, flcb->memberl), c.member) << c.physical;
    EXPECT_EQ(text(flcb->cd, flcb->cdl), c.cd) << c.physical;
    EXPECT_EQ(flcb->flag, *c.options == 'D' ? 0x100401 : 0x400) << c.physical;
    EXPECT_EQ(text(flcb->sftp_server, flcb->sftp_serverl), c.program);
    EXPECT_EQ(text(flcb->termstr, flcb->termlen), "\n");
  }
  host_.logged();
  ASSERT_EQ(host_.assign("B", "/d", "DIR CD='/x'"), kSuccess);
  EXPECT_EQ(host_.logged(), "warning: " + message_text<message::CdIgnored>() + "|");
  EXPECT_EQ(text(host_.fileref("B")->cd, host_.fileref("B")->cdl), "/d");
}

TEST_F(Assignment, AReassignmentKeepsItsPlace) {
  for (const char* name : {"A", "B", "C"}) ASSERT_EQ(host_.assign(name, "f"), kSuccess);
  const long out = host_.runtime.outstanding();
  ASSERT_EQ(host_.assign("B", "g", "HOST='other'"), kSuccess);
  EXPECT_STREQ(host_.fileref("B")->amb->host, "other");
  EXPECT_EQ(list(), "CBA");
  EXPECT_EQ(host_.runtime.outstanding(), out) << "the earlier assignment is released";
  ASSERT_EQ(host_.deassign("B"), kSuccess);
  EXPECT_EQ(list(), "CA");
}

TEST_F(Assignment, ABlankNameIsReplaced) {
  char names[][9] = {"        ", "\0.......", "        "};
  char physical[] = "f";
  for (char* name : names) {
    EXPECT_EQ(yxsasgn(name, request_, kSftp, physical, 1, host_.options("")), kSuccess);
    EXPECT_STRNE(name, "");
    EXPECT_NE(find_in_method(host_.method, name), nullptr) << name;
  }
  EXPECT_STRNE(names[0], names[2]);
  for (char* name : names) EXPECT_EQ(yxsdasg(name, request_), kSuccess);
}

TEST_F(Assignment, IsRefusedWithoutOptionsOrMethod) {
  char name[] = "IN      ";
  char physical[] = "f";
  char other[] = "NOSUCH  ";
  EXPECT_EQ(yxsasgn(name, request_, kSftp, physical, 1, nullptr), kNotAssigned);
  EXPECT_EQ(host_.attached(), "IN");
  EXPECT_EQ(host_.logged(), "error: " + message_text<message::NoOptions>("SFTP", "SFTP") + "|");
  EXPECT_EQ(yxsasgn(name, request_, other, physical, 1, host_.options("")), kUnknownMethod);
}

TEST_F(Assignment, LeavesTheHostABlockThatItKeeps) {
  char name[] = "IN      ", other[] = "NOSUCH  ", physical[] = "f";
  for (const int env : {0, kParseHostKeepsBlock}) {
    FAMB* block = host_.options("OPTIONS='-v'", env);
    EXPECT_EQ(yxsasgn(name, request_, other, physical, 1, block), kUnknownMethod);
    EXPECT_EQ(host_.runtime.outstanding(), env == 0 ? 0 : 2);
    if (env != 0) release_option_block(block, nullptr);
  }
}

TEST_F(Assignment, KeepsANameInItsCaseAndFindsItInAny) {
  char lower[] = "mixed1\xC3\xA9", upper[] = "MIXED1\xC3\x89", physical[] = "f";
  EXPECT_EQ(yxsasgn(lower, request_, kSftp, physical, 1, host_.options("")), kSuccess);
  EXPECT_EQ(yxsasgn(upper, request_, kSftp, physical, 1, host_.options("")), kSuccess);
  EXPECT_EQ(list(), "m") << "it is one fileref, under the name it was given first";
  ptr file = nullptr;
  WX_OPENPARM parms{};
  ASSERT_EQ(host_.table().amopen.entryp(&file, lower, request_, &parms), kSuccess);
  EXPECT_EQ(std::string(static_cast<FFCB*>(file)->logname, 8), upper);
  EXPECT_EQ(host_.close(file), kSuccess);
  EXPECT_EQ(yxsdasg(lower, request_), kSuccess);
}

// j: journal, c: client, p: program, e: extension
TEST_F(Assignment, EndsItsSessionInOrder) {
  static std::string order;
  static std::map<TKGeneric*, std::pair<char, TKStatus (*)(TKGeneric*)>> objects;
  static ptr program = nullptr;
  static void (*release)(POOL*, ptr, long, long) = nullptr;
  ptr file = nullptr;
  ASSERT_EQ(host_.assign("A", "f"), kSuccess);
  ASSERT_EQ(host_.open(&file, "A", 0), kSuccess);
  ASSERT_EQ(host_.close(file), kSuccess);
  FLCB* flcb = host_.fileref("A");
  const std::pair<TKGeneric*, char> watched[] = {
      {&flcb->sftp_jnl->generic, 'j'}, {&flcb->hProcess->generic, 'c'}, {&flcb->els->generic, 'e'}};
  for (const auto& [object, letter] : watched) {
    objects[object] = {letter, object->destroy};
    object->destroy = [](TKGeneric* which) {
      order += objects[which].first;
      return objects[which].second(which);
    };
  }
  program = flcb->sftp_server;
  release = request_->pool->free;
  request_->pool->free = [](POOL* pool, ptr block, long length, long flags) {
    if (block == program) order += 'p';
    release(pool, block, length, flags);
  };
  EXPECT_EQ(host_.deassign("A"), kSuccess);
  request_->pool->free = release;
  EXPECT_EQ(order, "jcpe");
}

TEST_F(Assignment, LooksTheMethodUpWhereAssignmentsLive) {
  for (const int local : {0, 1}) {
    ServiceWatch watch(host_.runtime);
    host_.runtime.access_method_control.fileassignlocal = local;
    ASSERT_EQ(host_.assign("A", "f", ""), kSuccess);
    EXPECT_EQ(watch.calls["yxamscp"], local);
  }
}

TEST_F(Assignment, IsFoundInBothMethodBlocks) {
  ASSERT_EQ(host_.assign("O", "f"), kSuccess);
  FLCB strange{};
  std::memcpy(strange.logname, "FOREIGN ", 8);
  FLCB elsewhere{};
  std::memcpy(elsewhere.logname, "ELSE    ", 8);
  elsewhere.next = &strange;
  FAMMCB list{&elsewhere};
  AMMCB second = *host_.method;
  second.data = &list;
  AMMCB foreign = second;
  std::memcpy(foreign.method, "OTHER   ", 8);
  host_.runtime.registry.assign(runtime::name8("ELSE"), &second);
  host_.runtime.registry.assign(runtime::name8("FOREIGN"), &foreign);
  const struct {
    const char* name;
    AMMCB* given;
    AMMCB* found_in;
  } cases[] = {{"o       ", nullptr, host_.method}, {"else    ", nullptr, &second},
               {"O       ", &second, nullptr},      {"ELSE    ", &second, &second},
               {"FOREIGN ", nullptr, nullptr},      {"nobody  ", nullptr, nullptr}};
  for (const auto& c : cases) {
    std::string name = c.name;
    AMMCB* ammcb = c.given;
    FLCB* flcb = nullptr;
    const bool found = c.found_in != nullptr;
    host_.runtime.begin_entry("");
    EXPECT_EQ(yxszl2l(name.data(), &ammcb, &flcb, request_), found ? kSuccess : kNotAssigned);
    EXPECT_EQ(host_.attached(), found ? "" : runtime::upper_ascii(runtime::trimmed(c.name)));
    if (!found) continue;
    EXPECT_EQ(ammcb, c.found_in) << c.name;
    EXPECT_EQ(flcb, c.found_in == &second ? &elsewhere : host_.fileref("O"));
    EXPECT_EQ(yxszl2l(name.data(), nullptr, nullptr, request_), kSuccess) << "nothing is stored";
  }
}

TEST_F(Assignment, TellsAboutItself) {
  ASSERT_EQ(host_.assign("F", "/d/f"), kSuccess);
  ASSERT_EQ(host_.assign("D", "/d", "DIR"), kSuccess);
  const struct {
    char name[9];
    rctype rc;
    long flag;
    const char* physical;
  } cases[] = {{"f       ", kSuccess, kInfoFile, "/d/f"},
               {"D       ", kSuccess, kInfoDirectory, "/d"},
               {"nobody  ", kNotAssigned, 0, "-"}};
  for (auto c : cases) {
    WX_INFOPARM info{};
    EXPECT_EQ(host_.table().aminfo.entryp(nullptr, c.name, request_, 0, nullptr, &info), c.rc);
    EXPECT_EQ(std::string(info.devtype, 8), "SFTP    ");
    EXPECT_EQ(info.flag, c.flag);
    EXPECT_EQ(text(info.pname, info.namelen), c.physical);
  }
  EXPECT_EQ(host_.attached(), "NOBODY");
  for (const std::string format : {"F", "V", "S"}) {
    ptr file = nullptr;
    ASSERT_EQ(host_.open(&file, "F", kOpenOutput, "LRECL=70 RECFM=" + format), kSuccess);
    WX_INFOPARM info{};
    EXPECT_EQ(host_.table().aminfo.entryp(file, nullptr, request_, 0, nullptr, &info), kSuccess);
    EXPECT_EQ(info.recfm, format == "F" ? kRecfmFixed : kRecfmVariable);
    EXPECT_EQ(info.datalen, 70);
    EXPECT_EQ(info.flag, kInfoFile);
    EXPECT_EQ(text(info.pname, info.namelen), "/d/f");
    EXPECT_EQ(host_.close(file), kSuccess);
  }
}

TEST_F(Assignment, MayLoseItsOptionsToTheHost) {
  ASSERT_EQ(host_.assign("A", "/d/f", "HOST='h' CD='/x' OPTIONS='-v'"), kSuccess);
  FLCB* flcb = host_.fileref("A");
  char nobody[] = "nobody  ";
  char name[] = "a       ";
  const long out = host_.runtime.outstanding();
  EXPECT_EQ(yxshbfr(nobody, request_, flcb->amb), kNotAssigned);
  EXPECT_EQ(host_.attached(), "NOBODY");
  EXPECT_EQ(host_.runtime.outstanding(), out) << "nothing is released";
  ptr early = nullptr;
  ASSERT_EQ(host_.open(&early, "A", 0), kSuccess);
  EXPECT_EQ(yxshbfr(name, request_, flcb->amb), kSuccess);
  EXPECT_EQ(flcb->amb, nullptr);
  EXPECT_EQ(static_cast<FFCB*>(early)->famb, nullptr);
  flcb->flag |= kSessionPending;
  host_.client.dialogue();
  ptr late = nullptr;
  ASSERT_EQ(host_.open(&late, "A", 0, "HOST='late'"), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "2> sftp   late\n2> cd \"/d\"\n") << "no host, no CD";
  for (ptr file : {early, late}) EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(Assignment, IsUndoneOnlyWhenNothingIsOpen) {
  char nobody[] = "nobody  ";
  EXPECT_EQ(yxsdasg(nobody, request_), kNotAssigned);
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
}

}  // namespace
}  // namespace fileref
