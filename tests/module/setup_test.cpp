// What a file is opened with: the options of the open over those of the assignment, and the
// client's command line.
#include <fmt/format.h>

#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Setup : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(host_.deassign("A"), kSuccess); }

  // Sets a file up without opening it; "-" for no options. The caller ends the file.
  FFCB* set_up(const std::string& assigned, const std::string& opened, WX_OPENPARM parms = {}) {
    EXPECT_EQ(host_.assign("A", "/d/f", assigned), kSuccess) << assigned;
    FAMB* block = opened == "-" ? nullptr : host_.options(opened);
    host_.runtime.begin_entry("A");
    FFCB* f = new_file(host_.fileref("A"), host_.method, block, host_.runtime.request());
    apply_open_parameters(f, &parms);
    rc_ = yxshbag(f, block);
    EXPECT_EQ(f->maxlrecl, f->lrecl);
    EXPECT_EQ(f->datalength, f->lrecl);
    return f;
  }

  // Fields that differ from those of a file without options.
  static std::string dump(const FFCB& f) {
    std::string all;
    if (f.recfm != kRecfmVariable) all += fmt::format("recfm={} ", f.recfm);
    if (f.lrecl != 32767) all += fmt::format("lrecl={} ", f.lrecl);
    if (f.flags != 0) all += fmt::format("bits={:x} ", f.flags);
    if (f.openmode != 0) all += fmt::format("mode={:x} ", f.openmode);
    if (f.wait != 1500) all += fmt::format("wait={} ", f.wait);
    if (f.ds == 0) all += "ds=0 ";
    const std::string_view ls(static_cast<char*>(f.lssuff), size_t(f.lssuffl));
    if (!ls.empty()) all += fmt::format("ls={} ", ls);
    const std::string_view nbyte(f.nbyte.name, size_t(f.nbyte.namelen));
    if (!nbyte.empty()) all += fmt::format("nbyte={} ", nbyte);
    return all + f.cmd;
  }

  ModuleHost host_;
  rctype rc_ = kSuccess;
};

TEST_F(Setup, MergesTheOptionsOfTheOpenOverThoseOfTheAssignment) {
  host_.runtime.variables.at("N") = 1;
  const struct {
    const char* assigned;
    const char* opened;
    const char* fields;
  } cases[] = {
      {"", "-", "sftp   "},
      {"LRECL=100", "-", "lrecl=100 sftp   "},
      {"LRECL=100 RECFM=F", "LRECL=200 RECFM=V", "lrecl=200 sftp   "},
      {"RECFM=F", "-", "recfm=8 lrecl=256 sftp   "},
      {"RECFM=V RECFM=F", "-", "recfm=40 lrecl=256 sftp   "},
      {"RECFM=S LRECL=5", "DEBUG", "recfm=2 lrecl=5 bits=1 sftp   "},
      {"LS DEBUG", "LRECL=9", "lrecl=9 bits=5 sftp   "},
      {"LS DEBUG", "MGET", "bits=40 sftp   "},
      {"WAIT_MILLISECONDS=7", "WAIT_MILLISECONDS=8", "wait=8 sftp   "},
      {"WAIT_MILLISECONDS=7", "NONBYTE", "wait=7 ds=0 sftp   "},
      {"NONBYTE", "NEW", "bits=10 ds=0 sftp   "},
      {"LSFILE='a'", "LSFILE='b'", "ls=b sftp   "},
      {"LSFILE='a' NBYTE=n", "-", "ls=a sftp   "},
      {"", "NBYTE=n", "nbyte=N sftp   "},
      {"ENCODING=latin1", "-", "mode=800000 sftp   "},
      {"HOST='srv' USER='u'", "-", "sftp   u@srv"},
      {"USER='u'", "HOST='srv'", "sftp   u@srv"},
      {"HOST='a' USER='u'", "HOST='b' USER='v'", "sftp   v@b"},
      {"HOST='h' OPTIONS='-P 22' OPTIONSX='-pw x'", "-", "sftp -P 22 -pw x h"},
      {"HOST='h' OPTIONS='-P'", "OPTIONS='-v'", "sftp -v  h"},
      {"HOST='h' OPTIONSX='-x'", "OPTIONSX='-v' OPTIONSX=''", "sftp   h"},
      {"HOST='h' PATH='/opt/s'", "-", "bits=800 /opt/s   h"},
      {"HOST='h'", "BATCHFILE='b'", "bits=1000 sftp   h"},
      {"HOST='h' BATCHFILE='/b c'", "-", "bits=1000 sftp   -b \"/b c\" h"},
      {"HOST='h' USER='u' BATCHFILE='b'", "-", "bits=1000 sftp   -b \"b\" u@h"},
      {"HOST='h' BATCHFILE='b' BATCHFILE=''", "-", "bits=1000 sftp   h"},
  };
  for (const auto& c : cases) {
    FFCB* f = set_up(c.assigned, c.opened);
    EXPECT_EQ(rc_, kSuccess);
    EXPECT_EQ(dump(*f), c.fields) << c.assigned << " / " << c.opened;
    EXPECT_EQ(size_t(f->cmdlen), std::string_view(f->cmd).size() + 1);
    EXPECT_EQ(f->openmode == 0, host_.runtime.text.encoding_name(f->encoding).empty());
    term(f);
  }
}

TEST_F(Setup, TakesWhatTheOptionsLeaveFromTheOpenAndTheHost) {
  const struct {
    int recfm;
    long length;
    bool by_user;  // the host's record length, 1234
    const char* assigned;
    const char* fields;
  } cases[] = {{0, 80, false, "", "sftp   "},
               {0, 80, true, "", "lrecl=1234 sftp   "},
               {kRecfmFixed, 80, false, "", "recfm=8 lrecl=256 sftp   "},
               {kRecfmFixed, 0, true, "", "recfm=8 lrecl=1234 sftp   "},
               {kRecfmStream, -80, false, "RECFM=F LRECL=3", "recfm=8 lrecl=3 sftp   "}};
  for (const auto& c : cases) {
    host_.runtime.host_options.record_length = c.by_user ? 1234 : 32767;
    host_.runtime.host_options.record_length_is_default = !c.by_user;
    WX_OPENPARM parms{};
    parms.recfm = c.recfm;
    parms.datalen = c.length;
    FFCB* f = set_up(c.assigned, "-", parms);
    EXPECT_EQ(dump(*f), c.fields);
    term(f);
  }
  FFCB* f = set_up("", "-");
  host_.runtime.service_faults.arm(1);
  EXPECT_EQ(yxshbag(f, nullptr), kSuccess);
  EXPECT_EQ(f->lrecl, 256) << "the host did not say";
  host_.runtime.service_faults.disarm();
  term(f);
}

TEST_F(Setup, AddsTheAssignmentsBitsToThoseThatAreSet) {
  FFCB* f = set_up("DEBUG", "-");
  f->flags = 0x100;
  EXPECT_EQ(yxshbag(f, nullptr), kSuccess);
  EXPECT_EQ(f->flags, 0x100 | kOptionDebug);
  term(f);
}

TEST_F(Setup, TellsTheCallerWhatCameOut) {
  WX_OPENPARM parms{};
  parms.datalen = -80;
  parms.encoding_default = parms.encoding_override = static_cast<u_cei>(5);
  FFCB ffcb{};
  apply_open_parameters(&ffcb, &parms);
  EXPECT_EQ(parms.datalen, 80);
  EXPECT_EQ(ffcb.lrecl, 80);
  EXPECT_EQ(ffcb.datalength, 0);
  ptr file = nullptr;
  ASSERT_EQ(host_.assign("A", "f", "HOST='h' LRECL=70"), kSuccess);
  ASSERT_EQ(host_.open(&file, "A", &parms), kSuccess);
  EXPECT_EQ(parms.datalen, 70);
  EXPECT_EQ(parms.encoding_default, U_DEFAULT_CE);
  EXPECT_EQ(parms.encoding_override, U_DEFAULT_CE);
  EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(Setup, RefusesACommandLineThatDoesNotFit) {
  const std::string around = "sftp   h";
  for (const std::size_t length : {4095, 4096}) {
    const std::string text(length - around.size(), 'x');
    FFCB* f = set_up("HOST='h' OPTIONS='" + text + "'", "-");
    EXPECT_EQ(rc_, length == 4095 ? kSuccess : kFailed);
    const std::string started = message_text<message::ClientNotStarted>();
    EXPECT_EQ(host_.attached().substr(0, started.size()), length == 4095 ? "" : started);
    EXPECT_EQ(host_.attached().find("4095") != std::string::npos, length == 4096);
    EXPECT_EQ(std::string_view(f->cmd).size(), length == 4095 ? length : 0) << "nothing is cut";
    term(f);
  }
}

}  // namespace
}  // namespace fileref
