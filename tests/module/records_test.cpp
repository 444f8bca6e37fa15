// Records through the method table and the stream read of the record-I/O vector.
#include <climits>
#include <cmath>
#include <limits>

#include "sup/src/yxsftp/entries.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

std::string text(ptr record, long length) {
  return {static_cast<char*>(record), size_t(length)};
}

class Records : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(host_.assign("A", "f"), kSuccess); }
  void TearDown() override {
    EXPECT_EQ(host_.fileref("A")->open, 0);
    EXPECT_EQ(host_.deassign("A"), kSuccess);
  }
  ptr open(int mode, const std::string& options) {
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "A", mode, options), kSuccess) << options;
    return file;
  }

  ModuleHost host_;
};

TEST_F(Records, StreamReadsTakeTheirByteCountFromTheVariable) {
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double value;  // of the variable
    rctype rc;
    long count;  // delivered, or refused
  } cases[] = {{10.9, kSuccess, 10},
               {0, kSuccess, 20},
               {0.9, kSuccess, 20},
               {-0.9, kSuccess, 20},
               {20.5, kSuccess, 20},
               {21, kByteCountTooLarge, 21},
               {1e300, kByteCountTooLarge, LONG_MAX},
               {infinity, kByteCountTooLarge, LONG_MAX},
               {-1, kWrongUse, 0},
               {NAN, kWrongUse, 0}};
  double& variable = host_.runtime.variables.at("SIZE");
  const std::string data = host_.client.files["f"] = "0123456789abcdefghijklmnop";
  for (const auto& c : cases) {
    ptr file = open(kOpenInput, "RECFM=S LRECL=20 NBYTE=size");
    ptr record = file;
    long length = 7;
    tchar cc = 0;
    variable = c.value;
    host_.logged();
    EXPECT_EQ(yxsrds(file, &record, &length, &cc), c.rc) << c.value;
    const auto too_large = message_text<message::ByteCountTooLarge>(c.count, 20);
    EXPECT_EQ(host_.logged(), c.rc == kByteCountTooLarge ? "error: " + too_large + "|" : "");
    if (c.rc == kSuccess) {
      EXPECT_EQ(text(record, length), data.substr(0, size_t(c.count)));
    } else {
      EXPECT_EQ(record, nullptr);
      EXPECT_EQ(length, 7);
      EXPECT_EQ(host_.read_all(file), "0123456789abcdefghij|klmnop|") << "nothing was read";
    }
    EXPECT_EQ(host_.close(file), kSuccess);
  }
}

TEST_F(Records, NullPointersAreRefused) {
  ptr record = nullptr;
  long length = 0;
  tchar cc = 0;
  WX_AMVEC* vector = nullptr;
  AMENT& table = host_.table();
  EXPECT_EQ(table.amread.entryp(nullptr, &record, &length, &cc), kNullPointer);
  EXPECT_EQ(yxsrds(nullptr, &record, &length, &cc), kNullPointer);
  EXPECT_EQ(table.amwrite.entryp(nullptr, record, 0, ' '), kNullPointer);
  EXPECT_EQ(table.amamvec.entryp(nullptr, &vector), kNullPointer);
  EXPECT_EQ(table.amclose.entryp(nullptr), kNullPointer);
  EXPECT_EQ(table.ammclos.entryp(nullptr), kNullPointer);
}

TEST_F(Records, AFileForNeitherInputNorOutputHoldsNone) {
  ptr file = open(0, "RECFM=V");
  std::string record;
  EXPECT_EQ(host_.fileref("A")->open, 1);
  EXPECT_EQ(host_.runtime.temp.outstanding(), 0u);
  EXPECT_EQ(host_.read(file, &record), kFailed);
  EXPECT_EQ(host_.attached(), "The file is not open for input.");
  EXPECT_EQ(host_.write(file, "x"), kFailed);
  EXPECT_EQ(host_.attached(), "The file is not open for output.");
  EXPECT_EQ(host_.close(file), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\n");
}

TEST_F(Records, WhatIsReadIsNotSent) {
  host_.client.files["f"] = "a\n";
  ptr file = open(kOpenInput, "");
  EXPECT_EQ(host_.write(file, "x"), kTempFailure);
  EXPECT_EQ(host_.read_all(file), "a|");
  EXPECT_EQ(host_.close(file), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\nget \"f\" \"TEMP\"\n");
}

TEST_F(Records, WhatOnlyReadsSendsNothing) {
  for (const char* options : {"LS", "LSA", "MGET"}) {
    ptr file = open(kOpenOutput, options);
    EXPECT_EQ(host_.write(file, "x"), kSuccess);
    EXPECT_EQ(host_.close(file), kSuccess);
  }
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\n");
  EXPECT_EQ(host_.runtime.temp.outstanding(), 0u);
}

TEST_F(Records, ANamelessFileHoldsNone) {
  ASSERT_EQ(host_.assign("A", ""), kSuccess);
  host_.client.files[""] = "x";
  ptr file = open(kOpenInput, "");
  EXPECT_EQ(host_.read_all(file), "");
  EXPECT_EQ(host_.close(file), kSuccess);
}

TEST_F(Records, AFailedCloseLeavesTheFileOpen) {
  for (auto close : {host_.table().amclose.entryp, host_.table().ammclos.entryp}) {
    host_.client.files.clear();
    ptr file = open(kOpenOutput, "");
    ASSERT_EQ(host_.write(file, "first"), kSuccess);
    host_.runtime.service_faults.arm(1);
    EXPECT_EQ(close(file), kFailed);
    host_.runtime.service_faults.disarm();
    EXPECT_EQ(host_.fileref("A")->open, 1);
    EXPECT_TRUE(host_.client.files.empty()) << "nothing is sent";
    EXPECT_EQ(host_.write(file, "second"), kSuccess);
    EXPECT_EQ(close(file), kSuccess);
    EXPECT_EQ(host_.client.files["f"], "first\nsecond\n");
  }
}

}  // namespace
}  // namespace fileref
