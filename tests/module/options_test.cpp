// Options: what each text leaves in the block, and how wrong ones are refused.
#include <fmt/format.h>

#include "tests/module/module_host.h"
#include "tests/module/service_watch.h"

namespace fileref {
namespace {

class Options : public testing::Test {
 protected:
  ~Options() override { release(); }
  void release() {
    release_option_block(block(), nullptr);
    block_ = nullptr;
  }
  FAMB* block() const { return static_cast<FAMB*>(block_); }

  // What the block says, in the order of its fields; what is not given is left out.
  std::string dump() const {
    const FAMB& b = *block();
    const auto number = [](long value) { return value == 0 ? "" : std::to_string(value); };
    const auto text = [](ptr start, int length) {
      return length == 0 ? "" : std::string(static_cast<char*>(start), static_cast<size_t>(length));
    };
    const std::pair<const char*, std::string> fields[] = {
        {"recfm", number(b.recfm)},
        {"lrecl", number(b.lrecl)},
        {"cd", text(b.cd, b.cdl)},
        {"flags", number(b.flags)},
        {"bits", fmt::format("{:x}", b.debug)},
        {"user", b.user},
        {"host", b.host},
        {"lssuff", b.lssuff},
        {"encoding", host_.runtime.text.encoding_name(b.encoding)},
        {"options", text(b.options, b.optionsl)},
        {"optionsx", text(b.optionsx, b.optionsxl)},
        {"path", text(b.path, b.pathl)},
        {"batchfile", text(b.batchfile, b.batchfilel)},
        {"wait", number(b.wait)},
        {"nbyte", std::string(b.nbyte.name, size_t(b.nbyte.namelen))},
        {"len", number(b.nbyte.len)},
        {"ds", b.ds == 1 ? "" : "off"}};
    std::string all;
    for (const auto& [name, value] : fields) {
      if (value.empty() || value == "0") continue;
      all += (all.empty() ? "" : " ") + (name + ("=" + value));
    }
    return all;
  }

  ModuleHost host_;
  ptr block_ = nullptr;
};

constexpr int kUntouched = ModuleHost::kUntouched;

TEST_F(Options, AreRecordedInTheBlock) {
  const std::string u127(127, 'u');
  const std::string l255(255, 'l');
  const struct {
    std::string text;
    int scanned;  // of the last option
    std::string fields;
  } cases[] = {
      {"", kUntouched, ""},
      {"lrecl = 80 LRECL=-5", 3, "lrecl=-5"},
      {"WAIT_MILLISECONDS=20", 3, "wait=20"},
      {"RECFM=fb RECFM=V", 3, "recfm=40"},
      {"RECFM=S", 3, "recfm=2"},
      {"USER='it''s'", 3, "user=it's"},
      {"USER=sixsix USER=Ab", 3, "user=Ab"},
      {"USER='" + u127 + "'", 3, "user=" + u127},
      {"HOST=10.0.0.1 HOSTNAME=\"b c\"", 3, "host=b c"},
      {"OPTIONS='it''s -b x'", 3, "bits=1000 options=it's -b x"},
      {"OPTIONS='-b' OPTIONSX='-pw x'", 3, "options=-b optionsx=-pw x"},
      {"OPTIONS='a' OPTIONS=''", 3, ""},
      {"OPTIONSX='a -b y' OPTIONSX='bb'", 3, "bits=1000 optionsx=bb"},
      {"ENCODING=utf-16", 3, "encoding=UTF-16"},
      {"ENCODING='latin1" + std::string(14, ' ') + "'", 3, "encoding=LATIN1"},
      {"SFTP", 1, ""},
      {"DIR NEW DEBUG FILEEXT", 1, "bits=219"},
      {"LS", 1, "bits=4"},
      {"LSA MGET", 1, "bits=440"},
      {"LSFILE='" + l255 + "l'", 3, "lssuff=" + l255},
      {"LSFILE='long' LSFILE='a'", 3, "lssuff=a"},
      {"CD='/a ''b'''", 3, "cd=/a 'b' bits=2"},
      {"CD='x' CD=''", 3, "bits=2"},
      {"BATCHFILE='/b'", 3, "bits=1000 batchfile=/b"},
      {"BATCHFILE=''", 3, "bits=1000"},
      {"PATH=sftp CD=/a/B.c NEW", 1, "cd=/a/B.c bits=812 path=sftp"},
      {"CD='a\x1f\x10'", 3,
       "cd=a\x10"
       "1\x10"
       "0 bits=2"},
      {"PATH=''", 3, "bits=800"},
      {"NBYTE=size NBYTE=n NONBYTE", 1, "nbyte=N len=-1 ds=off"},
  };
  host_.runtime.variables.at("SIZE") = 1;
  host_.runtime.variables.at("N") = 1;
  for (const auto& c : cases) {
    EXPECT_EQ(host_.parse(c.text, &block_), kSuccess) << c.text;
    EXPECT_EQ(host_.scanned, c.scanned) << c.text;
    EXPECT_EQ(dump(), c.fields) << c.text;
    EXPECT_EQ(host_.attached() + host_.logged(), "") << c.text;
    release();
    EXPECT_EQ(host_.runtime.outstanding(), 0) << c.text;
  }
  EXPECT_EQ(host_.parse("NBYTE=n", &block_), kSuccess);
  EXPECT_EQ(std::string(block()->nbyte.name, 32), "N" + std::string(31, ' '));
  EXPECT_EQ(block()->nbyte.addr, nullptr);
  release();
  EXPECT_EQ(host_.parse("DEBUG", &block_, kParseHostKeepsBlock), kSuccess);
  EXPECT_EQ(dump(), "flags=16 bits=1");
}

TEST_F(Options, AreRefusedAtTheirPlace) {
  const std::string u128(128, 'u');
  const std::string n33(33, 'N');
  struct Case {
    std::string text;
    rctype rc;
    int scanned;
    std::string marked;
    bool named;  // the token and its length are attached
    int env = kParseNbyteAllowed;
  };
  std::vector<Case> cases = {
      {"FOO", kUnknownOption, 0, "FOO", true},
      {"HOS='x'", kUnknownOption, 0, "HOS", true},
      {"NBYTE=size", kUnknownOption, 0, "NBYTE", true, 0},
      {"LRECL='80'", kOptionSyntax, 2, "'80'", true},
      {"WAIT_MILLISECONDS=x", kOptionSyntax, 2, "X", true},
      {"RECFM=U", kOptionSyntax, 2, "U", true},
      {"RECFM='F'", kOptionSyntax, 2, "'F'", true},
      {"USER='" + u128 + "'", kOptionSyntax, 2, "'" + u128 + "'", false},
      {"HOST=" + u128, kOptionSyntax, 2, std::string(128, 'U'), false},
      {"OPTIONS=abc", kOptionSyntax, 2, "ABC", false},
      {"OPTIONSX=abc", kOptionSyntax, 2, "********", false},
      {"ENCODING=4", kOptionSyntax, 2, "4", true},
      {"ENCODING=latin1 ENCODING=nosuch", kOptionSyntax, 2, "NOSUCH", true},
      {"ENCODING=" + n33, kOptionSyntax, 2, n33, true},
      {"NBYTE=nobody", kOptionSyntax, 2, "NOBODY", true},
      {"NBYTE='size'", kOptionSyntax, 2, "'size'", true},
      {"NBYTE=" + n33, kOptionSyntax, 2, n33, true},
      {"CD=", kTokenFailure, kUntouched, "", false},
      {"'open", kTokenFailure, kUntouched, "'open", false},
  };
  for (const std::string keyword : {"LRECL", "WAIT_MILLISECONDS", "RECFM", "ENCODING", "LSFILE",
                                    "CD", "BATCHFILE", "PATH", "NBYTE"}) {
    cases.push_back({keyword + " 'v'", kOptionSyntax, 1, "'v'", true});
  }
  for (const std::string keyword : {"USER", "HOST", "HOSTNAME", "OPTIONS", "OPTIONSX"}) {
    const char* marked = keyword == "OPTIONSX" ? "********" : "'v'";
    cases.push_back({keyword + " 'v'", kOptionSyntax, 1, marked, false});
  }
  host_.runtime.variables.at("SIZE") = 1;
  host_.runtime.variables.at(n33.substr(1)) = 1;
  for (const Case& c : cases) {
    EXPECT_EQ(host_.parse("DEBUG USER='me' " + c.text, &block_, c.env), c.rc) << c.text;
    EXPECT_EQ(host_.scanned, c.scanned) << c.text;
    EXPECT_EQ(host_.attached(), c.named ? std::to_string(c.marked.size()) + "|" + c.marked : "");
    const auto echo = host_.echo();
    EXPECT_EQ(runtime::upper_ascii(echo.text.substr(echo.offset, echo.length)),
              runtime::upper_ascii(c.marked))
        << c.text;
    EXPECT_EQ(dump(), "bits=1 user=me") << c.text << " keeps what came before";
    release();
  }
}

TEST_F(Options, OfListingsExcludeEachOther) {
  for (const char* text : {"LS LSA", "LSA LS"}) {
    EXPECT_EQ(host_.parse(text, &block_), kSuccess);
    EXPECT_EQ(dump(), "bits=400") << text;
    EXPECT_EQ(host_.logged(), "warning: " + message_text<message::LsWithLsa>() + "|");
    release();
  }
}

TEST_F(Options, SecretsAreBlottedOutOfTheEcho) {
  ServiceWatch watch(host_.runtime);
  EXPECT_EQ(host_.parse("OPTIONS='-v' OPTIONSX='-pw ''x'' y' NEW", &block_), kSuccess);
  EXPECT_EQ(host_.echo().text, "OPTIONS='-v' OPTIONSX=******** NEW");
  EXPECT_EQ(watch.calls["yhqblot"], 1);
}

}  // namespace
}  // namespace fileref
