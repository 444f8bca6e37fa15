// What is said to the client, what is made of its answers, and what the user gets to read.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

const std::string kNotStarted = message_text<message::ClientNotStarted>();
const std::string kNoAnswer = message_text<message::NoAnswerInTime>();
const std::string kNoSession =
    "error: " + message_text<message::SessionNotEstablished>("SFTP") + "|";
const std::string kUnknownHost = "error: " + message_text<message::HostUnknown>("h") + "|";
const std::string kLogin = "error: " + message_text<message::LoginAsked>() + "|";

std::string failed(const char* name) {
  return message_text<message::RemoteNameFailed>(name);
}

class Dialogue : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(host_.deassign("A"), kSuccess); }

  void assign(const std::string& physical, const std::string& options = "") {
    ASSERT_EQ(host_.assign("A", physical, "HOST='h' " + options), kSuccess);
    host_.client.started = 0;
  }
  // An open for neither input nor output: start and directory only.
  rctype start() {
    ptr file = nullptr;
    const rctype rc = host_.open(&file, "A", 0);
    if (rc != kSuccess) return rc;
    EXPECT_EQ(host_.close(file), kSuccess);
    return kSuccess;
  }

  ModuleHost host_;
};

struct Case {
  std::string what;
  std::deque<Answer> script;
  rctype rc;
  std::string attached;
  std::string logged;
};

TEST_F(Dialogue, StartWaitsForAPromptOrALine) {
  const Case cases[] = {
      {"prompt", {"sftp> "}, kSuccess, "", ""},
      {"prompt alone", {"sftp>"}, kSuccess, "", ""},
      {"PuTTY's prompt", {"Remote working directory is /\npsftp> "}, kSuccess, "", ""},
      {"spaced prompt", {"Sftp > "}, kSuccess, "", ""},
      {"a line", {"Connected\n"}, kSuccess, "", ""},
      {"pieces", {{"Connected to", " h", ".\nsftp> "}}, kSuccess, "", ""},
      {"cut prompt", {{"sf", "tp> ", "sftp>"}}, kSuccess, "", ""},
      {"not started", {kRefused}, kFailed, kNotStarted, ""},
      {"ended", {{"Conn", kEndOfOutput}}, kFailed, kNotStarted, kNoSession},
      {"broken", {Chunk(kProcessFailed, "sftp>")}, kFailed, kNotStarted, kNoSession},
      {"notice", {Chunk(kLaunchNotice)}, kFailed, kNotStarted, kNoSession},
      {"late", {Chunk(kNoAnswerInTime)}, kFailed, kNoAnswer, kNoSession},
      {"host",
       {"ssh: HOST does Not exist\nsftp>"},
       kFailed,
       kNotStarted,
       kUnknownHost + kNoSession},
      {"login", {"login as: "}, kFailed, kNotStarted, kLogin + kNoSession},
      {"key", {"The host key is not cached.\nsftp> "}, kFailed, "", ""},
      {"no words", {"No such file or directory\n"}, kSuccess, "", ""},
  };
  for (const Case& c : cases) {
    assign("f");
    host_.client.script = c.script;
    host_.pauses.clear();
    host_.logged();
    EXPECT_EQ(start(), c.rc) << c.what;
    EXPECT_EQ(host_.attached(), c.attached) << c.what;
    EXPECT_EQ(host_.logged(), c.logged) << c.what;
    EXPECT_EQ(host_.pauses, std::vector<long>(c.script[0].chunks.size(), 1500)) << c.what;
    EXPECT_EQ(host_.fileref("A")->open, 0);
    EXPECT_EQ((host_.fileref("A")->flag & kSessionPending) != 0, c.rc != kSuccess) << c.what;
    const FLCB* flcb = host_.fileref("A");
    if (c.rc != kSuccess) continue;
    const std::string last = c.script[0].chunks.back().text;
    EXPECT_EQ(static_cast<char*>(flcb->msgbuffpreservecase), last) << "only the last piece";
    EXPECT_EQ(static_cast<char*>(flcb->msgbuffer), runtime::upper_ascii(last));
  }
}

TEST_F(Dialogue, EntersTheDirectoryAndMakesItWhenAsked) {
  const Answer missing = "Couldn't stat: No such file or directory\nsftp> ";
  const Answer unreal = "Couldn't canonicalize, canonicalise: Failure\nsftp> ";
  const Answer ok = "sftp> ";
  const std::string cd = "cd \"/d e\"\n";
  const std::string mkdir = "mkdir \"/d e/f\"\n";
  const std::string sent = "note: cd \"/d e\"|";
  const std::string sent_mkdir = "note: mkdir \"/d e/f\"|";
  const struct {
    Case c;
    std::string options;
    std::string dialogue;
  } cases[] = {
      {{"ok", {ok, ok}, kSuccess, "", ""}, "", cd},
      {{"other words", {ok, "permission denied\n"}, kSuccess, "", ""}, "", cd},
      {{"missing", {ok, missing}, kFailed, failed("/d e/f"), ""}, "", cd},
      {{"unreal", {ok, unreal}, kFailed, failed("/d e/f"), ""}, "", cd},
      {{"unsent", {ok, kRefused}, kFailed, failed("/d e/f"), sent}, "", cd},
      {{"late", {ok, Chunk(kNoAnswerInTime)}, kFailed, kNoAnswer, ""}, "", cd},
      {{"ended", {ok, Chunk(kEndOfOutput)}, kFailed, failed("/d e/f"), ""}, "", cd},
      {{"host", {ok, "host does not exist"}, kFailed, failed("/d e/f"), kUnknownHost}, "", cd},
      {{"CD", {ok, ok}, kSuccess, "", ""}, "CD='c \"d'", "cd \"c \"d\"\n"},
      {{"CD missing", {ok, missing}, kFailed, failed("c"), ""}, "CD='c'", "cd \"c\"\n"},
      {{"CD ended", {ok, Chunk(kEndOfOutput)}, kFailed, failed("/d e/f"), ""},
       "CD='c'",
       "cd \"c\"\n"},
      {{"DIR", {ok, ok}, kSuccess, "", ""}, "DIR", "cd \"/d e/f\"\n"},
      {{"NEW", {ok, ok}, kSuccess, "", ""}, "NEW", cd},
      {{"made", {ok, missing, ok, ok}, kSuccess, "", ""}, "NEW", cd + mkdir + cd},
      {{"made again", {ok, missing, ok, missing, ok, ok}, kSuccess, "", ""},
       "NEW",
       cd + mkdir + cd + mkdir + cd},
      {{"never there", {ok, missing, ok, missing, ok, missing}, kCannotEnter, "", ""},
       "NEW",
       cd + mkdir + cd + mkdir + cd},
      {{"not made", {ok, missing, "Couldn't create: Failure\nsftp> "}, kCannotEnter, "", ""},
       "NEW",
       cd + mkdir},
      {{"mkdir late", {ok, missing, Chunk(kNoAnswerInTime)}, kFailed, kNoAnswer, ""},
       "NEW",
       cd + mkdir},
      {{"mkdir ended", {ok, missing, Chunk(kEndOfOutput)}, kFailed, failed("/d e/f"), ""},
       "NEW",
       cd + mkdir},
      {{"mkdir unsent", {ok, missing, kRefused}, kFailed, failed("/d e/f"), sent_mkdir},
       "NEW",
       cd + mkdir},
      {{"CD made", {ok, missing, ok, ok}, kSuccess, "", ""},
       "NEW CD='c'",
       "cd \"c\"\n" + mkdir + "cd \"c\"\n"},
  };
  for (const auto& [c, options, dialogue] : cases) {
    assign("/d e/f", options);
    host_.client.script = c.script;
    host_.pauses.clear();
    host_.logged();
    EXPECT_EQ(start(), c.rc) << c.what;
    EXPECT_EQ(host_.attached(), c.attached) << c.what;
    EXPECT_EQ(host_.logged(), c.logged) << c.what;
    const bool unsent = c.script.back().chunks.empty();
    EXPECT_EQ(host_.pauses.size(), c.script.size() - (unsent ? 1 : 0)) << c.what;
    EXPECT_EQ(host_.client.dialogue(), "sftp   h\n" + dialogue) << c.what;
    const FAMB* block = host_.fileref("A")->amb;
    EXPECT_EQ((block->flags & kBlockCdSent) != 0, c.what != "unsent") << c.what;
  }
}

TEST_F(Dialogue, AFetchFailsByFewWords) {
  const std::string name = failed("my f");
  const std::string sent = "note: get \"my f\" \"TEMP\"|";
  const Case cases[] = {
      {"ok", {"sftp> "}, kSuccess, "", ""},
      {"progress", {{"Fetching", " 50%", "\n"}}, kSuccess, "", ""},
      {"denied", {"remote open: Failure. unable to open\nsftp> "}, kSuccess, "", ""},
      {"missing", {"Unable to open my f: no Such file or directory\n"}, kFailed, name, ""},
      {"in a first piece only", {{"No such file or directory", "sftp>"}}, kSuccess, "", ""},
      {"late", {Chunk(kNoAnswerInTime)}, kFailed, kNoAnswer, ""},
      {"broken", {{"half", kProcessFailed}}, kFailed, name, ""},
      {"login", {"Login As: "}, kFailed, name, kLogin},
      {"unsent", {kRefused}, kFailed, name, sent},
  };
  host_.client.files["my f"] = "data\n";
  for (const Case& c : cases) {
    assign("my f");
    ASSERT_EQ(start(), kSuccess);
    host_.client.script = c.script;
    host_.client.dialogue();
    host_.pauses.clear();
    host_.logged();
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "A", kOpenInput), c.rc) << c.what;
    EXPECT_EQ(host_.attached(), c.attached) << c.what;
    EXPECT_EQ(host_.logged(), c.logged) << c.what;
    EXPECT_TRUE(host_.client.dialogue().ends_with("get \"my f\" \"TEMP\"\n"));
    EXPECT_EQ(host_.pauses.size(), c.script[0].chunks.size()) << c.what;
    EXPECT_EQ(file != nullptr, c.rc == kSuccess);
    EXPECT_EQ(host_.fileref("A")->open, c.rc == kSuccess ? 1 : 0);
    if (c.rc != kSuccess) continue;
    EXPECT_EQ(host_.read_all(file), "data|");
    EXPECT_EQ(host_.close(file), kSuccess);
  }
}

TEST_F(Dialogue, AFetchThatLeavesNoFileFails) {
  assign("gone");
  host_.client.script = {"sftp> ", "sftp> "};
  ptr file = nullptr;
  EXPECT_EQ(host_.open(&file, "A", kOpenInput), kTempFailure);
  EXPECT_EQ(file, nullptr);
}

TEST_F(Dialogue, AnUploadFailsOnlyWithItsRead) {
  const std::string name = failed("f");
  const Case cases[] = {
      {"ok", {"sftp> "}, kSuccess, "", ""},
      {"any words", {"Failure: no such file or directory, fatal:\n"}, kSuccess, "", ""},
      {"late", {Chunk(kNoAnswerInTime)}, kFailed, kNoAnswer, ""},
      {"broken", {Chunk(kProcessFailed)}, kFailed, name, ""},
      {"ended", {{"Uploading", kEndOfOutput}}, kFailed, name, ""},
      {"host", {"host does not exist"}, kFailed, name, kUnknownHost},
      {"unsent", {kRefused}, kFailed, name, "note: put \"TEMP\" \"f\"|"},
  };
  for (const Case& c : cases) {
    assign("/d/f");
    ptr file = nullptr;
    ASSERT_EQ(host_.open(&file, "A", kOpenOutput), kSuccess);
    EXPECT_TRUE(host_.client.dialogue().ends_with("cd \"/d\"\n")) << "an output open sends nothing";
    ASSERT_EQ(host_.write(file, c.what), kSuccess);
    host_.client.script = c.script;
    host_.logged();
    EXPECT_EQ(host_.close(file), c.rc) << c.what;
    EXPECT_EQ(host_.attached(), c.attached) << c.what;
    EXPECT_EQ(host_.logged(), c.logged) << c.what;
    EXPECT_TRUE(host_.client.dialogue().ends_with("put \"TEMP\" \"f\"\n"));
    EXPECT_EQ(host_.fileref("A")->open, 0) << "the file is gone, whatever became of the upload";
    if (c.what == "unsent") continue;
    EXPECT_EQ(host_.client.files["f"], c.what + "\n");
  }
}

TEST_F(Dialogue, DebugLogsWhatTheClientSays) {
  assign("d/f", "DEBUG WAIT_MILLISECONDS=20");
  host_.client.script = {{"Connected\t", "to h\nsftp> "}, {"a%s", Chunk(kProcessFailed, "half")}};
  host_.logged();
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.logged(), "note: Connected\t|note: to h\\x0asftp> |note: a%s|note: half|");
  EXPECT_EQ(host_.pauses, std::vector<long>(4, 20));
}

TEST_F(Dialogue, OneClientServesAllFiles) {
  assign("d/f");
  host_.client.script = {"sftp> ", Chunk(kEndOfOutput)};
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.client.alive, 1);
  host_.client.script = {kRefused};
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.client.alive, 0) << "a failed start ends the client of the one before";
  EXPECT_EQ(start(), kSuccess);
  EXPECT_EQ(start(), kSuccess);
  EXPECT_EQ(host_.client.alive, 1);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\ncd \"d\"\n2> sftp   h\n2> cd \"d\"\n");
}

TEST_F(Dialogue, ACommandThatDoesNotFitIsNotSent) {
  const std::string long_name(4050, 'x');
  assign(long_name);
  host_.client.files[long_name] = "";
  ptr file = nullptr;
  EXPECT_EQ(host_.open(&file, "A", kOpenInput), kFailed);
  EXPECT_EQ(host_.attached(), failed(long_name.c_str()));
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\n") << "no part of it is sent";
}

TEST_F(Dialogue, ANameIsFoundInAnyCase) {
  assign("f");
  ptr file = &file;
  char name[] = "nobody  ";
  WX_OPENPARM parms{};
  EXPECT_EQ(host_.table().amopen.entryp(&file, name, host_.runtime.request(), &parms),
            kNotAssigned);
  EXPECT_EQ(host_.attached(), "NOBODY");
  EXPECT_EQ(file, nullptr);
  char lower[] = "a       ";
  EXPECT_EQ(host_.table().amopen.entryp(&file, lower, host_.runtime.request(), &parms), kSuccess);
  EXPECT_EQ(std::string(static_cast<FFCB*>(file)->logname, 8), "A       ");
  EXPECT_EQ(host_.close(file), kSuccess);
}

}  // namespace
}  // namespace fileref
