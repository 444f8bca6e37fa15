// Options: what each text leaves in the block, and how wrong ones are refused.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

// What a block says, in the order of its fields; what is not given is left out.
std::string dump(const ModuleHost& host, const FAMB& block) {
  std::string all;
  const auto put = [&all](const char* name, const std::string& value) {
    if (!value.empty()) all += (all.empty() ? "" : " ") + (name + ("=" + value));
  };
  const auto number = [](long value) { return value == 0 ? "" : std::to_string(value); };
  const auto text = [](ptr start, int length) {
    return length == 0 ? "" : std::string(static_cast<char*>(start), static_cast<size_t>(length));
  };
  put("recfm", number(block.recfm));
  put("lrecl", number(block.lrecl));
  put("cd", text(block.cd, block.cdl));
  put("flags", number(block.flags));
  char bits[16];
  snprintf(bits, sizeof bits, "%x", static_cast<unsigned>(block.debug));
  put("bits", block.debug == 0 ? "" : bits);
  put("user", block.user);
  put("host", block.host);
  put("lssuff", block.lssuff);
  put("encoding", host.runtime.text.encoding_name(block.encoding));
  put("options", text(block.options, block.optionsl));
  put("optionsx", text(block.optionsx, block.optionsxl));
  put("path", text(block.path, block.pathl));
  put("batchfile", text(block.batchfile, block.batchfilel));
  put("wait", number(block.wait));
  if (block.nbyte.namelen != 0) {
    put("nbyte", "<" + std::string(block.nbyte.name, 32) + ">" + number(block.nbyte.len));
    EXPECT_EQ(block.nbyte.addr, nullptr);
  }
  put("ds", block.ds == 1 ? "" : "0");
  return all;
}

class Options : public testing::Test {
 protected:
  ~Options() override { release(); }
  void release() {
    release_option_block(static_cast<FAMB*>(block_), nullptr);
    block_ = nullptr;
  }
  std::string dumped() const { return dump(host_, *static_cast<FAMB*>(block_)); }

  ModuleHost host_;
  ptr block_ = nullptr;
};

constexpr int kNone = ModuleHost::kUntouched;
constexpr int kEnv = kParseNbyteAllowed;

TEST_F(Options, AreRecordedInTheBlock) {
  const std::string u127(127, 'u');
  const std::string l255(255, 'l');
  const std::string blanks(28, ' ');
  const struct {
    std::string text;
    int scanned;  // of the last option
    std::string fields;
    int env = kEnv;
  } cases[] = {
      {"", kNone, ""},
      {"LRECL=80", 3, "lrecl=80"},
      {"lrecl = 80 LRECL=-5", 3, "lrecl=-5"},
      {"WAIT_MILLISECONDS=20", 3, "wait=20"},
      {"RECFM=FB", 3, "recfm=8"},
      {"RECFM=f RECFM=V", 3, "recfm=40"},
      {"RECFM=S", 3, "recfm=2"},
      {"USER=MixedCase", 3, "user=MixedCase"},
      {"USER=007", 3, "user=007"},
      {"USER='it''s'", 3, "user=it's"},
      {"USER=sixsix USER=ab", 3, "user=ab"},
      {"USER='" + u127 + "'", 3, "user=" + u127},
      {"HOST=" + u127, 3, "host=" + u127},
      {"HOST=a HOSTNAME=\"b c\"", 3, "host=b c"},
      {"DEBUG", 1, "bits=1"},
      {"OPTIONS='-P 22'", 3, "options=-P 22"},
      {"OPTIONS='it''s -b x'", 3, "bits=1000 options=it's -b x"},
      {"OPTIONS='-b'", 3, "options=-b"},
      {"OPTIONS='a' OPTIONS='bb'", 3, "options=bb"},
      {"OPTIONS='a' OPTIONS=''", 3, ""},
      {"OPTIONSX='-pw x -b y'", 3, "bits=1000 optionsx=-pw x -b y"},
      {"FILEEXT", 1, "bits=200"},
      {"ENCODING=latin1", 3, "encoding=LATIN1"},
      {"ENCODING='utf-16'", 3, "encoding=UTF-16"},
      {"DIR NEW", 1, "bits=18"},
      {"SFTP", 1, ""},
      {"LS", 1, "bits=4"},
      {"LSA MGET", 1, "bits=440"},
      {"LSFILE='*.txt'", 3, "lssuff=*.txt"},
      {"LSFILE='" + l255 + "l'", 3, "lssuff=" + l255},
      {"LSFILE='long' LSFILE='a'", 3, "lssuff=a"},
      {"CD='/a ''b'''", 3, "cd=/a 'b' bits=2"},
      {"CD=''", 3, "bits=2"},
      {"CD='x' CD=''", 3, "bits=2"},
      {"BATCHFILE='/b'", 3, "bits=1000 batchfile=/b"},
      {"BATCHFILE=''", 3, "bits=1000"},
      {"PATH='/bin/sftp'", 3, "bits=800 path=/bin/sftp"},
      {"PATH=xsftpx", 3, "bits=800 path=SFTP"},
      {"PATH=''", 3, "bits=800"},
      {"NONBYTE", 1, "ds=0"},
      {"NBYTE=size", 3, "nbyte=<SIZE" + blanks + ">-1"},
      {"NBYTE=size NBYTE=n NONBYTE", 1, "nbyte=<N   " + blanks + ">-1 ds=0"},
      {"DEBUG", 1, "flags=16 bits=1", kParseHostKeepsBlock},
  };
  host_.runtime.variables.at("SIZE") = 1;
  host_.runtime.variables.at("N") = 1;
  for (const auto& c : cases) {
    EXPECT_EQ(host_.parse(c.text, &block_, c.env), kSuccess) << c.text;
    EXPECT_EQ(host_.scanned, c.scanned) << c.text;
    EXPECT_EQ(dumped(), c.fields) << c.text;
    EXPECT_EQ(host_.attached() + host_.logged(), "") << c.text;
    release();
    EXPECT_EQ(host_.runtime.outstanding(), 0) << c.text;
  }
}

TEST_F(Options, AreRefusedAtTheirPlace) {
  const std::string u128(128, 'u');
  const std::string n33(33, 'N');
  const struct {
    std::string text;
    rctype rc;
    int scanned;
    std::string marked;
    bool named;  // the token and its length are attached
    int env = kEnv;
  } cases[] = {
      {"FOO", kUnknownOption, 0, "FOO", true},
      {"HOS='x'", kUnknownOption, 0, "HOS", true},
      {"'LS'", kUnknownOption, 0, "'LS'", true},
      {"NBYTE=size", kUnknownOption, 0, "NBYTE", true, 0},
      {"LRECL 80", kOptionSyntax, 1, "80", true},
      {"WAIT_MILLISECONDS 80", kOptionSyntax, 1, "80", true},
      {"RECFM F", kOptionSyntax, 1, "F", true},
      {"ENCODING x", kOptionSyntax, 1, "X", true},
      {"LSFILE 'a'", kOptionSyntax, 1, "'a'", true},
      {"CD 'a'", kOptionSyntax, 1, "'a'", true},
      {"BATCHFILE 'a'", kOptionSyntax, 1, "'a'", true},
      {"PATH 'a'", kOptionSyntax, 1, "'a'", true},
      {"NBYTE size", kOptionSyntax, 1, "SIZE", true},
      {"USER me", kOptionSyntax, 1, "ME", false},
      {"HOST me", kOptionSyntax, 1, "ME", false},
      {"HOSTNAME me", kOptionSyntax, 1, "ME", false},
      {"OPTIONS 'a'", kOptionSyntax, 1, "'a'", false},
      {"OPTIONSX me", kOptionSyntax, 1, "ME", false},
      {"LRECL='80'", kOptionSyntax, 2, "'80'", true},
      {"LRECL=80x", kOptionSyntax, 2, "80x", true},
      {"LRECL=99999999999999999999", kOptionSyntax, 2, "99999999999999999999", true},
      {"WAIT_MILLISECONDS=x", kOptionSyntax, 2, "X", true},
      {"RECFM=U", kOptionSyntax, 2, "U", true},
      {"RECFM='F'", kOptionSyntax, 2, "'F'", true},
      {"USER='" + u128 + "'", kOptionSyntax, 2, "'" + u128 + "'", false},
      {"HOST='" + u128 + "'", kOptionSyntax, 2, "'" + u128 + "'", false},
      {"OPTIONS=abc", kOptionSyntax, 2, "ABC", false},
      {"OPTIONSX=abc", kOptionSyntax, 2, "********", false},
      {"ENCODING=4", kOptionSyntax, 2, "4", true},
      {"ENCODING=nosuch", kOptionSyntax, 2, "NOSUCH", true},
      {"ENCODING='latin1               '", kOptionSyntax, 2, "'latin1               '", true},
      {"ENCODING=" + u128, kOptionSyntax, 2, std::string(128, 'U'), true},
      {"NBYTE=nobody", kOptionSyntax, 2, "NOBODY", true},
      {"NBYTE='size'", kOptionSyntax, 2, "'size'", true},
      {"NBYTE=" + n33, kOptionSyntax, 2, n33, true},
      {"CD=", kTokenFailure, kNone, "", false},
      {"'open", kTokenFailure, kNone, "", false},
  };
  host_.runtime.variables.at("SIZE") = 1;
  host_.runtime.variables.at(n33) = 1;
  for (const auto& c : cases) {
    EXPECT_EQ(host_.parse("DEBUG USER='me' " + c.text, &block_, c.env), c.rc) << c.text;
    EXPECT_EQ(host_.scanned, c.scanned) << c.text;
    EXPECT_EQ(host_.attached(), c.named ? std::to_string(c.marked.size()) + "|" + c.marked : "");
    const auto echo = host_.echo();
    const std::string marked = echo.text.substr(echo.offset, echo.length);
    EXPECT_EQ(runtime::upper_ascii(marked), runtime::upper_ascii(c.marked)) << c.text;
    EXPECT_EQ(dumped(), "bits=1 user=me") << c.text << " keeps what came before";
    release();
  }
}

TEST_F(Options, OfListingsExcludeEachOther) {
  for (const char* text : {"LS LSA", "LSA LS"}) {
    EXPECT_EQ(host_.parse(text, &block_), kSuccess);
    EXPECT_EQ(dumped(), "bits=400") << text;
    EXPECT_EQ(host_.logged(), "warning: " + message_text<message::LsWithLsa>() + "|");
    release();
  }
}

TEST_F(Options, SecretsAreBlottedOutOfTheEcho) {
  EXPECT_EQ(host_.parse("OPTIONS='-v' OPTIONSX='-pw ''x'' y' NEW", &block_), kSuccess);
  EXPECT_EQ(host_.echo().text, "OPTIONS='-v' OPTIONSX=******** NEW");
}

TEST_F(Options, AWrongEncodingUnsetsTheEarlierOne) {
  EXPECT_EQ(host_.parse("ENCODING=latin1 ENCODING=nosuch", &block_), kOptionSyntax);
  EXPECT_EQ(dumped(), "");
}

TEST_F(Options, SurviveAShortageOfMemory) {
  for (const std::string option : {"USER=b", "HOST='b'", "OPTIONS='b -b '", "OPTIONSX='b'",
                                   "LSFILE='b'", "CD='b'", "BATCHFILE='b'", "PATH='b'"}) {
    block_ = host_.options("USER=a HOST='a' OPTIONS='a'");
    const std::string before = dumped();
    rctype rc = kNoMemory;
    for (long nth = 1; rc == kNoMemory; ++nth) {
      host_.runtime.memory.allocation_faults().arm(nth);
      rc = host_.parse(option, &block_);
      if (rc == kSuccess) break;
      EXPECT_EQ(rc, kNoMemory) << option;
      EXPECT_EQ(host_.scanned, kNone) << option;
      EXPECT_EQ(dumped(), before) << option << " " << nth;
    }
    host_.runtime.memory.allocation_faults().disarm();
    EXPECT_NE(dumped(), before) << option;
    release();
    EXPECT_EQ(host_.runtime.outstanding(), 0);
  }
  host_.runtime.memory.allocation_faults().arm(1);
  EXPECT_EQ(host_.parse("", &block_), kNoMemory);
  EXPECT_EQ(block_, nullptr);
}

}  // namespace
}  // namespace fileref
