// Filerefs whose client runs a batch file of the user's own.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

Answer said(const char* words) {
  return {words, Chunk(kEndOfOutput)};
}
template <class Message, class... Args>
std::string error(Args... arguments) {
  return "error: " + message_text<Message>(arguments...) + "|";
}

TEST(Batches, RunToTheirEnd) {
  const auto not_started = message_text<message::ClientNotStarted>();
  const auto late = message_text<message::NoAnswerInTime>();
  const auto no_session = error<message::SessionNotEstablished>("SFTP");
  const char kFile[] = "BATCHFILE='/b.TXT'";
  const char kWords[] = "OPTIONS='-b /b.TXT'";
  const struct {
    const char* options;
    Answer answer;
    std::string attached;
    std::string logged;
  } cases[] = {
      {kFile, said("sftp> get x\n"), "", ""},
      {kFile, {"sftp>", " get x\n", "done", Chunk(kEndOfOutput)}, "", ""},
      {kWords, said("sftp> put x\n"), "", ""},
      {kFile, {Chunk(kEndOfOutput)}, not_started, no_session},
      {kFile, said("no line"), not_started, no_session},
      {kFile, {"a\n", Chunk(kProcessFailed)}, not_started, no_session},
      {kFile, {"a\n", Chunk(kNoAnswerInTime)}, late, no_session},
      {kFile, "Fatal: /b.TXT\n", not_started,
       error<message::BatchFileFailed>("/b.TXT") + no_session},
      {kFile, "Fatal: /B.txt\n", not_started, error<message::BatchFailed>() + no_session},
      {kFile,
       {"a\n", "No such file or directory"},
       not_started,
       error<message::BatchFailed>() + no_session},
      {kWords, "Fatal: /b.TXT\n", not_started, no_session},
      {kFile, "host does not exist\n", not_started, error<message::HostUnknown>("h") + no_session},
  };
  for (const auto& c : cases) {
    for (const int mode : {kOpenInput, kOpenOutput, 0}) {
      ModuleHost host;
      ptr file = nullptr;
      host.assign("B", "", std::string("HOST='h' ") + c.options);
      host.client.script = {c.answer};
      EXPECT_EQ(host.open(&file, "B", mode), c.attached.empty() ? kSuccess : kFailed);
      EXPECT_EQ(host.attached(), c.attached) << c.answer.chunks.front().text;
      EXPECT_EQ(host.logged(), c.logged) << c.answer.chunks.front().text;
      EXPECT_EQ(host.client.dialogue(),
                c.options == kFile ? "sftp   -b \"/b.TXT\" h\n" : "sftp -b /b.TXT  h\n");
      if (file != nullptr) {
        EXPECT_EQ(host.read_all(file), "");
        EXPECT_EQ(host.write(file, "x"), kFailed);
        EXPECT_NE(host.attached(), "");
        EXPECT_EQ(host.close(file), kSuccess);
      }
      EXPECT_EQ(host.deassign("B"), kSuccess);
      EXPECT_EQ(host.pauses, std::vector<long>()) << "nothing is waited for";
    }
  }
}

TEST(Batches, RunAgainAtEveryOpen) {
  ModuleHost host;
  ptr first = nullptr, second = nullptr;
  host.assign("B", "", "HOST='h' BATCHFILE='b'");
  host.client.script = {said("1\n"), said("2\n")};
  EXPECT_EQ(host.open(&first, "B", kOpenInput), kSuccess);
  EXPECT_EQ(host.open(&second, "B", kOpenInput), kSuccess);
  EXPECT_EQ(host.client.started, 2);
  EXPECT_EQ(host.client.alive, 1);
  EXPECT_EQ(host.close(first), kSuccess);
  // As after the members of a directory were listed.
  host.fileref("B")->flag &= ~kSessionPending;
  host.client.dialogue();
  EXPECT_EQ(host.open(&first, "B", kOpenInput), kSuccess);
  EXPECT_EQ(host.read_all(first), "");
  EXPECT_EQ(host.client.dialogue(), "");
  EXPECT_EQ(host.deassign("B"), kSuccess) << "a batch is not counted";
  EXPECT_EQ(host.client.alive, 0);
  EXPECT_EQ(host.read_all(second), "");
  EXPECT_EQ(host.close(first), kSuccess);
  EXPECT_EQ(host.close(second), kSuccess);
}

}  // namespace
}  // namespace fileref
