// What a file is opened with: the options of the open over those of the assignment, and the
// client's command line.
#include <fmt/format.h>

#include <cstring>

#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Setup : public testing::Test {
 protected:
  // Sets a file up without opening it; "-" for no options. The caller ends the file.
  FFCB* set_up(const std::string& assigned, const std::string& opened, WX_OPENPARM parms = {}) {
    EXPECT_EQ(host_.assign("A", "/d/f", assigned), kSuccess) << assigned;
    FLCB* flcb = host_.fileref("A");
    FAMB* block = opened == "-" ? nullptr : host_.options(opened);
    host_.runtime.begin_entry("A");
    FFCB* ffcb = new_file(flcb, host_.method, block, host_.runtime.request());
    apply_open_parameters(ffcb, &parms);
    rc_ = yxshbag(ffcb, block);
    return ffcb;
  }
  void end(FFCB* ffcb) {
    term(ffcb);
    EXPECT_EQ(host_.deassign("A"), kSuccess);
  }

  static std::string dump(const FFCB& f) {
    EXPECT_EQ(f.maxlrecl, f.lrecl);
    EXPECT_EQ(f.datalength, f.lrecl);
    std::string all = fmt::format("recfm={} lrecl={}", f.recfm, f.lrecl);
    if (f.flags != 0) all += fmt::format(" bits={:x}", f.flags);
    if (f.openmode != 0) all += fmt::format(" mode={:x}", f.openmode);
    if (f.wait != 1500) all += fmt::format(" wait={}", f.wait);
    if (f.ds == 0) all += " ds=0";
    const std::string_view ls(static_cast<char*>(f.lssuff), size_t(f.lssuffl));
    if (!ls.empty()) all += fmt::format(" ls={}", ls);
    const std::string_view nbyte(f.nbyte.name, size_t(f.nbyte.namelen));
    return nbyte.empty() ? all : all + fmt::format(" nbyte={}", nbyte);
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
      {"", "-", "recfm=32 lrecl=32767"},
      {"LRECL=100", "-", "recfm=32 lrecl=100"},
      {"LRECL=100 RECFM=F", "LRECL=200 RECFM=V", "recfm=32 lrecl=200"},
      {"RECFM=F", "-", "recfm=8 lrecl=256"},
      {"RECFM=V RECFM=F", "-", "recfm=40 lrecl=256"},
      {"RECFM=S LRECL=5", "DEBUG", "recfm=2 lrecl=5 bits=1"},
      {"LS DEBUG", "LRECL=9", "recfm=32 lrecl=9 bits=5"},
      {"LS DEBUG", "MGET", "recfm=32 lrecl=32767 bits=40"},
      {"WAIT_MILLISECONDS=7", "WAIT_MILLISECONDS=8", "recfm=32 lrecl=32767 wait=8"},
      {"NONBYTE", "NEW", "recfm=32 lrecl=32767 bits=10 ds=0"},
      {"", "NONBYTE", "recfm=32 lrecl=32767 ds=0"},
      {"LSFILE='a'", "LSFILE='b'", "recfm=32 lrecl=32767 ls=b"},
      {"NBYTE=n", "-", "recfm=32 lrecl=32767"},
      {"", "NBYTE=n", "recfm=32 lrecl=32767 nbyte=N"},
      {"ENCODING=latin1", "-", "recfm=32 lrecl=32767 mode=800000"},
      {"", "ENCODING=latin1", "recfm=32 lrecl=32767 mode=800000"},
  };
  for (const auto& c : cases) {
    FFCB* ffcb = set_up(c.assigned, c.opened);
    EXPECT_EQ(rc_, kSuccess);
    EXPECT_EQ(dump(*ffcb), c.fields) << c.assigned << " / " << c.opened;
    EXPECT_EQ(ffcb->openmode == 0, host_.runtime.text.encoding_name(ffcb->encoding).empty());
    end(ffcb);
  }
}

TEST_F(Setup, TakesWhatTheOptionsLeaveFromTheOpenAndTheHost) {
  const struct {
    int recfm;
    long length;
    bool by_user;  // the host's record length, 1234
    const char* assigned;
    const char* fields;
  } cases[] = {
      {0, 80, false, "", "recfm=32 lrecl=32767"},
      {0, 80, true, "", "recfm=32 lrecl=1234"},
      {kRecfmFixed, 80, false, "", "recfm=8 lrecl=256"},
      {kRecfmFixed, 0, true, "", "recfm=8 lrecl=1234"},
      {kRecfmStream, -80, false, "RECFM=F LRECL=3", "recfm=8 lrecl=3"},
  };
  for (const auto& c : cases) {
    host_.runtime.host_options.record_length = c.by_user ? 1234 : 32767;
    host_.runtime.host_options.record_length_is_default = !c.by_user;
    WX_OPENPARM parms{};
    parms.recfm = c.recfm;
    parms.datalen = c.length;
    FFCB* ffcb = set_up(c.assigned, "-", parms);
    EXPECT_EQ(dump(*ffcb), c.fields);
    end(ffcb);
  }
  FFCB* ffcb = set_up("", "-");
  host_.runtime.service_faults.arm(1);
  EXPECT_EQ(yxshbag(ffcb, nullptr), kSuccess);
  EXPECT_EQ(ffcb->lrecl, 256) << "the host did not say";
  host_.runtime.service_faults.disarm();
  end(ffcb);
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
  EXPECT_EQ(host_.deassign("A"), kSuccess);
}

TEST_F(Setup, WritesTheCommandLine) {
  const struct {
    const char* assigned;
    const char* opened;
    const char* line;
  } cases[] = {
      {"HOST='srv'", "-", "sftp   srv"},
      {"HOST='srv' USER='u'", "-", "sftp   u@srv"},
      {"USER='u'", "HOST='srv'", "sftp   u@srv"},
      {"HOST='a' USER='u'", "HOST='b' USER='v'", "sftp   v@b"},
      {"HOST='srv'", "BATCHFILE='b'", "sftp   srv"},
      {"HOST='h' OPTIONS='-P 22' OPTIONSX='-pw x'", "-", "sftp -P 22 -pw x h"},
      {"HOST='h' OPTIONSX='-x'", "OPTIONSX='-v' OPTIONSX=''", "sftp   h"},
      {"HOST='h' OPTIONS='a' OPTIONS=''", "-", "sftp   h"},
      {"HOST='h' PATH='/opt/s'", "-", "/opt/s   h"},
      {"HOST='h' USER='u' BATCHFILE='b' OPTIONS='-v'", "-", "sftp -v  -b \"b\" u@h"},
      {"HOST='h' BATCHFILE='b' BATCHFILE=''", "-", "sftp   h"},
      {"", "-", "sftp   "},
  };
  for (const auto& c : cases) {
    FFCB* ffcb = set_up(c.assigned, c.opened);
    EXPECT_STREQ(ffcb->cmd, c.line);
    EXPECT_EQ(size_t(ffcb->cmdlen), std::string_view(c.line).size() + 1);
    end(ffcb);
  }
}

TEST_F(Setup, RefusesACommandLineThatDoesNotFit) {
  for (const std::size_t length : {4095, 4096}) {
    const std::string options = "OPTIONS='" + std::string(length - strlen("sftp   h"), 'x') + "'";
    FFCB* ffcb = set_up("HOST='h' " + options, "-");
    if (length == 4095) {
      EXPECT_EQ(rc_, kSuccess);
      EXPECT_EQ(std::string_view(ffcb->cmd).size(), length);
    } else {
      EXPECT_EQ(rc_, kFailed);
      EXPECT_EQ(host_.attached(), message_text<message::RemoteNameFailed>("/d/f"));
    }
    end(ffcb);
  }
}

TEST_F(Setup, LeavesABlockThatTheHostKeeps) {
  ASSERT_EQ(host_.assign("A", "f"), kSuccess);
  FAMB* block = host_.options("LRECL=9 OPTIONS='-v' LSFILE='x'", kParseHostKeepsBlock);
  ptr file = nullptr;
  WX_OPENPARM unused{};
  unused.hostptr = block;
  EXPECT_EQ(host_.open(&file, "NOBODY", &unused), kNotAssigned);
  EXPECT_EQ(block->lrecl, 9);
  for (const int mode : {kOpenOutput, kOpenInput}) {  // an open that succeeds, one that fails
    WX_OPENPARM parms{};
    parms.openmode = mode;
    parms.hostptr = block;
    host_.client.files.clear();
    EXPECT_EQ(host_.open(&file, "A", &parms), mode == kOpenOutput ? kSuccess : kFailed);
    if (file != nullptr) {
      EXPECT_EQ(static_cast<FFCB*>(file)->flag, kParseHostKeepsBlock);
      EXPECT_EQ(host_.close(file), kSuccess);
    }
    EXPECT_EQ(block->lrecl, 9);
  }
  release_option_block(block, nullptr);
  EXPECT_EQ(host_.deassign("A"), kSuccess);
}

}  // namespace
}  // namespace fileref
