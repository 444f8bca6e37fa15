// Assigning a name again while files of it are open, and after.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Reassignment : public testing::Test {
 protected:
  void SetUp() override {
    host_.client.files = {{"old", "o\n"}, {"new", "n\n"}};
    assign("/a/old");
  }
  void TearDown() override { EXPECT_EQ(host_.deassign("A"), kSuccess); }

  void assign(const std::string& physical, const std::string& options = "HOST='h'") {
    ASSERT_EQ(host_.assign("A", physical, options), kSuccess);
  }
  ptr open(int mode, const std::string& options = "") {
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "A", mode, options), kSuccess);
    return file;
  }
  void close(ptr file) { EXPECT_EQ(host_.close(file), kSuccess); }

  ModuleHost host_;
};

TEST_F(Reassignment, EndsTheClientWhenNothingIsOpen) {
  close(open(kOpenOutput));
  EXPECT_EQ(host_.client.alive, 1);
  assign("/b/new", "HOST='h2'");
  EXPECT_EQ(host_.client.alive, 0);
  host_.client.dialogue();
  close(open(kOpenInput));
  EXPECT_EQ(host_.client.dialogue(), "2> sftp   h2\n2> cd \"/b\"\n2> get \"new\" \"TEMP\"\n");
}

TEST_F(Reassignment, LeavesOpenFilesTheirClientAndName) {
  ptr reader = open(kOpenInput);
  ptr writer = open(kOpenOutput, "LRECL=9 OPTIONS='-v'");
  assign("/b/new", "HOST='h2' DIR");
  EXPECT_EQ(host_.client.alive, 1);
  EXPECT_EQ(static_cast<FFCB*>(reader)->famb, nullptr) << "earlier options go at once";
  EXPECT_EQ(host_.deassign("A"), kStillOpen) << "the earlier files count";
  assign("/b/new", "HOST='h3'");
  ptr newer = open(kOpenInput);
  EXPECT_EQ(host_.fileref("A")->open, 3);
  EXPECT_EQ(host_.client.alive, 2);
  host_.client.dialogue();

  WX_INFOPARM info{};
  EXPECT_EQ(host_.table().aminfo.entryp(writer, nullptr, nullptr, 0, nullptr, &info), kSuccess);
  EXPECT_STREQ(info.pname, "/a/old");
  EXPECT_EQ(info.flag, kInfoFile);
  ASSERT_EQ(host_.write(writer, "w"), kSuccess);
  close(writer);
  EXPECT_EQ(host_.client.dialogue(), "put \"TEMP\" \"old\"\n") << "to the first client";
  EXPECT_EQ(host_.client.files["old"], "w\n");
  EXPECT_EQ(host_.client.alive, 2);
  EXPECT_EQ(host_.read_all(reader), "o|");
  close(reader);
  EXPECT_EQ(host_.client.alive, 1) << "the last file takes the earlier client along";
  EXPECT_EQ(host_.fileref("A")->open, 1);
  EXPECT_EQ(host_.read_all(newer), "n|");
  close(newer);
  EXPECT_EQ(host_.client.dialogue(), "");
}

TEST_F(Reassignment, AFailedUploadToTheEarlierClientEndsBoth) {
  ptr writer = open(kOpenOutput);
  assign("/b/new");
  host_.client.script = {Chunk(kEndOfOutput)};
  EXPECT_EQ(host_.close(writer), kFailed);
  EXPECT_EQ(host_.attached(), message_text<message::RemoteNameFailed>("old"));
  EXPECT_EQ(host_.client.alive, 0);
  EXPECT_EQ(host_.fileref("A")->open, 0);
}

TEST_F(Reassignment, DetachesFilesThatDoNotCount) {
  // A file that is open without being counted, as one of a batch or a listing is.
  ptr file = open(kOpenInput);
  static_cast<FFCB*>(file)->counted = nullptr;
  host_.fileref("A")->open = 0;
  ASSERT_EQ(host_.deassign("A"), kSuccess);
  EXPECT_EQ(host_.client.alive, 0);
  assign("/b/new");
  close(open(kOpenInput));
  EXPECT_EQ(host_.read_all(file), "o|");
  close(file);
  EXPECT_EQ(host_.fileref("A")->open, 0);
}

}  // namespace
}  // namespace fileref
