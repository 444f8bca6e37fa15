// Filerefs whose client runs a batch file of the user's own.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Batches : public testing::Test {
 protected:
  void assign(const std::string& options) {
    ASSERT_EQ(host_.assign("B", "", "HOST='h' " + options), kSuccess);
  }
  // What a batch says until it ends.
  static Answer said(const char* words) { return {words, Chunk(kEndOfOutput)}; }
  // Everything of a batch that ran is given back.
  void close(ptr file) {
    EXPECT_EQ(host_.fileref("B")->open, 0);
    EXPECT_EQ(host_.close(file), kSuccess);
  }

  ModuleHost host_;
};

TEST_F(Batches, RunToTheirEnd) {
  const auto not_started = message_text<message::ClientNotStarted>();
  const auto late = message_text<message::NoAnswerInTime>();
  const auto no_session = "error: " + message_text<message::SessionNotEstablished>("SFTP") + "|";
  const auto file_failed = "error: " + message_text<message::BatchFileFailed>("/b.TXT") + "|";
  const auto failed = "error: " + message_text<message::BatchFailed>() + "|";
  const struct {
    const char* options;
    Answer said;
    std::string attached;
    std::string logged;
  } cases[] = {
      {"BATCHFILE='/b.TXT'", said("sftp> get x\n"), "", ""},
      {"BATCHFILE='/b.TXT'", {"sftp>", " get x\n", "done", Chunk(kEndOfOutput)}, "", ""},
      {"OPTIONS='-b /b.TXT'", said("sftp> put x\n"), "", ""},
      {"BATCHFILE='/b.TXT'", {Chunk(kEndOfOutput)}, not_started, no_session},
      {"BATCHFILE='/b.TXT'", said("no line"), not_started, no_session},
      {"BATCHFILE='/b.TXT'", {"a\n", Chunk(kProcessFailed)}, not_started, no_session},
      {"BATCHFILE='/b.TXT'", {"a\n", Chunk(kNoAnswerInTime)}, late, no_session},
      {"BATCHFILE='/b.TXT'", "Fatal: /b.TXT\n", not_started, file_failed + no_session},
      {"BATCHFILE='/b.TXT'", "Fatal: /B.txt\n", not_started, failed + no_session},
      {"BATCHFILE='/b.TXT'",
       {"a\n", "No such file or directory"},
       not_started,
       failed + no_session},
      {"OPTIONS='-b /b.TXT'", "Fatal: /b.TXT\n", not_started, no_session},
      {"BATCHFILE='/b.TXT'", "host does not exist\n", not_started,
       "error: " + message_text<message::HostUnknown>("h") + "|" + no_session},
  };
  for (const auto& c : cases) {
    for (const int mode : {kOpenInput, kOpenOutput, 0}) {
      assign(c.options);
      host_.client.script = {c.said};
      ptr file = nullptr;
      EXPECT_EQ(host_.open(&file, "B", mode), c.attached.empty() ? kSuccess : kFailed);
      EXPECT_EQ(host_.attached(), c.attached) << c.said.chunks.front().text;
      EXPECT_EQ(host_.logged(), c.logged) << c.said.chunks.front().text;
      if (file != nullptr) {
        EXPECT_EQ(host_.read_all(file), "");
        EXPECT_EQ(host_.write(file, "x"), kFailed);
        close(file);
      }
      EXPECT_EQ(host_.deassign("B"), kSuccess);
      EXPECT_EQ(host_.runtime.outstanding(), 0);
      host_.client.started = 0;
      EXPECT_EQ(host_.client.dialogue(), std::string(c.options).starts_with("BATCH")
                                             ? "sftp   -b \"/b.TXT\" h\n"
                                             : "sftp -b /b.TXT  h\n");
    }
  }
  EXPECT_EQ(host_.pauses, std::vector<long>()) << "nothing is waited for";
}

}  // namespace
}  // namespace fileref
