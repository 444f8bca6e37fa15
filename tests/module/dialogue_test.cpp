// What is said to the client, what is made of its answers, and what the user gets to read.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

const Answer kOk = "sftp> ";
const Answer kLate = Chunk(kNoAnswerInTime);
const Answer kEnded{"half", kEndOfOutput};
const Answer kBroken = Chunk(kProcessFailed, "sftp>");
const Answer kNoHost = "ssh: HOST does Not exist\nsftp>";
const Answer kMissing = "Couldn't stat: no Such file or directory\nsftp> ";

const std::string kNotStarted = message_text<message::ClientNotStarted>();
const std::string kNoAnswer = message_text<message::NoAnswerInTime>();
const std::string kNoSession =
    "error: " + message_text<message::SessionNotEstablished>("SFTP") + "|";
const std::string kHost = "error: " + message_text<message::HostUnknown>("h") + "|";
const std::string kLogin = "error: " + message_text<message::LoginAsked>() + "|";

std::string failed(const std::string& name) {
  return message_text<message::RemoteNameFailed>(name.c_str());
}

struct Case {
  std::string what;
  std::deque<Answer> script;
  rctype rc;
  std::string attached;
  std::string logged;
};

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
    return rc == kSuccess ? host_.close(file) : rc;
  }
  void play(const Case& c) {
    host_.client.script = c.script;
    host_.client.dialogue();
    host_.pauses.clear();
    host_.logged();
  }
  // One pause for every read, and the case's result.
  void expect(const Case& c, rctype rc) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(rc, c.rc);
    EXPECT_EQ(host_.attached(), c.attached);
    EXPECT_EQ(host_.logged(), c.logged);
    std::size_t reads = 0;
    for (const Answer& answer : c.script) reads += answer.chunks.size();
    EXPECT_EQ(host_.pauses, std::vector<long>(reads, 1500));
    EXPECT_TRUE(host_.client.script.empty());
  }

  ModuleHost host_;
};

TEST_F(Dialogue, StartWaitsForAPromptOrALine) {
  const Case cases[] = {
      {"prompt", {kOk}, kSuccess, "", ""},
      {"prompt alone", {"sftp>"}, kSuccess, "", ""},
      {"PuTTY's prompt", {"Remote working directory is /\npsftp> "}, kSuccess, "", ""},
      {"spaced prompt", {"Sftp > "}, kSuccess, "", ""},
      {"a line", {"No such file or directory\n"}, kSuccess, "", ""},
      {"pieces", {{"Connected to", " h", ".\nsftp> "}}, kSuccess, "", ""},
      {"cut prompt", {{"sf", "tp> ", "sftp>"}}, kSuccess, "", ""},
      {"not started", {kRefused}, kFailed, kNotStarted, ""},
      {"ended", {kEnded}, kFailed, kNotStarted, kNoSession},
      {"broken", {kBroken}, kFailed, kNotStarted, kNoSession},
      {"notice", {Chunk(kLaunchNotice)}, kFailed, kNotStarted, kNoSession},
      {"late", {kLate}, kFailed, kNoAnswer, kNoSession},
      {"host", {kNoHost}, kFailed, kNotStarted, kHost + kNoSession},
      {"login", {"login as root?"}, kFailed, kNotStarted, kLogin + kNoSession},
      {"key", {"The host key is not cached.\nsftp> "}, kFailed, "", ""},
  };
  for (const Case& c : cases) {
    assign("f");
    play(c);
    expect(c, start());
    const FLCB* flcb = host_.fileref("A");
    EXPECT_EQ((flcb->flag & kSessionPending) != 0, c.rc != kSuccess) << c.what;
    if (c.rc != kSuccess) continue;
    const std::string last = c.script[0].chunks.back().text;
    EXPECT_EQ(static_cast<char*>(flcb->msgbuffpreservecase), last) << "only the last piece";
    EXPECT_EQ(static_cast<char*>(flcb->msgbuffer), runtime::upper_ascii(last));
  }
}

TEST_F(Dialogue, EntersTheDirectoryAndMakesItWhenAsked) {
  const Answer unreal = "canonicalise: no\nsftp> ";
  const Answer not_made = "Couldn't create: Failure\nsftp> ";
  const std::string name = failed("/d e/f");
  const std::string mkdir = "note: mkdir \"/d e/f\"|";
  const struct {
    const char* options;
    const char* commands;  // c: cd, m: mkdir
    Case c;
  } cases[] = {
      {"", "c", {"ok", {kOk, kOk}, kSuccess, "", ""}},
      {"", "c", {"other words", {kOk, "permission denied\n"}, kSuccess, "", ""}},
      {"", "c", {"missing", {kOk, kMissing}, kFailed, name, ""}},
      {"", "c", {"unreal", {kOk, unreal}, kFailed, name, ""}},
      {"", "", {"unsent", {kOk, kRefused}, kFailed, name, "note: cd \"/d e\"|"}},
      {"", "c", {"late", {kOk, kLate}, kFailed, kNoAnswer, ""}},
      {"", "c", {"ended", {kOk, kEnded}, kFailed, name, ""}},
      {"", "c", {"host", {kOk, kNoHost}, kFailed, name, kHost}},
      {"CD='c'", "c", {"CD missing", {kOk, kMissing}, kFailed, failed("c"), ""}},
      {"CD='c'", "c", {"CD ended", {kOk, kEnded}, kFailed, name, ""}},
      {"NEW", "c", {"there", {kOk, kOk}, kSuccess, "", ""}},
      {"NEW", "cmc", {"made", {kOk, kMissing, kOk, kOk}, kSuccess, "", ""}},
      {"NEW", "cmcmc", {"made again", {kOk, unreal, kOk, kMissing, kOk, kOk}, kSuccess, "", ""}},
      {"NEW",
       "cmcmc",
       {"never there", {kOk, unreal, kOk, unreal, kOk, unreal}, kCannotEnter, "", ""}},
      {"NEW", "cm", {"not made", {kOk, unreal, not_made}, kCannotEnter, "", ""}},
      {"NEW", "cm", {"mkdir late", {kOk, unreal, kLate}, kFailed, kNoAnswer, ""}},
      {"NEW", "cm", {"mkdir ended", {kOk, unreal, kEnded}, kFailed, name, ""}},
      {"NEW", "c", {"mkdir unsent", {kOk, unreal, kRefused}, kFailed, name, mkdir}},
  };
  for (const auto& [options, commands, c] : cases) {
    assign("/d e/f", options);
    play(c);
    expect(c, start());
    std::string sent = "sftp   h\n";
    const std::string cd = *options == 'C' ? "cd \"c\"\n" : "cd \"/d e\"\n";
    for (const char command : std::string_view(commands)) {
      sent += command == 'c' ? cd : "mkdir \"/d e/f\"\n";
    }
    EXPECT_EQ(host_.client.dialogue(), sent) << c.what;
    EXPECT_EQ((host_.fileref("A")->amb->flags & kBlockCdSent) != 0, c.what != "unsent");
  }
  const std::pair<const char*, const char*> targets[] = {{"CD='c \"d'", "cd \"c \"d\"\n"},
                                                         {"CD='c' DIR", "cd \"/d e/f\"\n"},
                                                         {"DIR", "cd \"/d e/f\"\n"}};
  for (const auto& [options, command] : targets) {
    assign("/d e/f", options);
    EXPECT_EQ(start(), kSuccess);
    EXPECT_EQ(host_.client.dialogue(), std::string("sftp   h\n") + command);
  }
}

// A fetch fails by few words, an upload by none.
TEST_F(Dialogue, TransfersFail) {
  const std::string name = failed("my f");
  const std::string get = "get \"my f\" \"TEMP\"";
  const std::string put = "put \"TEMP\" \"my f\"";
  const struct {
    std::string command;
    Case c;
  } cases[] = {
      {get, {"ok", {kOk}, kSuccess, "", ""}},
      {get, {"progress", {{"Fetching", " 50%", "\n"}}, kSuccess, "", ""}},
      {get, {"other words", {"Failure. unable to open\nsftp> "}, kSuccess, "", ""}},
      {get, {"first piece", {{"No such file or directory", "sftp>"}}, kSuccess, "", ""}},
      {get, {"missing", {kMissing}, kFailed, name, ""}},
      {get, {"late", {kLate}, kFailed, kNoAnswer, ""}},
      {get, {"broken", {kBroken}, kFailed, name, ""}},
      {get, {"login", {"Login As: "}, kFailed, name, kLogin}},
      {get, {"unsent", {kRefused}, kFailed, name, "note: " + get + "|"}},
      {put, {"ok", {kOk}, kSuccess, "", ""}},
      {put, {"any words", {"Failure: no such file or directory, fatal:\n"}, kSuccess, "", ""}},
      {put, {"late", {kLate}, kFailed, kNoAnswer, ""}},
      {put, {"broken", {kBroken}, kFailed, name, ""}},
      {put, {"ended", {kEnded}, kFailed, name, ""}},
      {put, {"host", {kNoHost}, kFailed, name, kHost}},
      {put, {"unsent", {kRefused}, kFailed, name, "note: " + put + "|"}},
  };
  assign("my f");
  ASSERT_EQ(start(), kSuccess);
  for (const auto& [command, c] : cases) {
    host_.client.files["my f"] = "data\n";
    play(c);
    ptr file = nullptr;
    if (command == get) {
      expect(c, host_.open(&file, "A", kOpenInput));
      EXPECT_EQ(host_.fileref("A")->open, c.rc == kSuccess ? 1 : 0);
      ASSERT_EQ(file != nullptr, c.rc == kSuccess);
      if (file != nullptr) {
        EXPECT_EQ(host_.read_all(file), "data|");
        EXPECT_EQ(host_.close(file), kSuccess);
      }
    } else {
      ASSERT_EQ(host_.open(&file, "A", kOpenOutput), kSuccess);
      EXPECT_EQ(host_.client.script.size(), 1u) << "an output open sends nothing";
      ASSERT_EQ(host_.write(file, "new"), kSuccess);
      expect(c, host_.close(file));
      EXPECT_EQ(host_.client.files["my f"], c.what == "unsent" ? "data\n" : "new\n");
    }
    EXPECT_EQ(host_.fileref("A")->open, 0) << "the file is gone, whatever became of it";
    EXPECT_EQ(host_.client.dialogue(), c.what == "unsent" ? "" : command + "\n");
  }
  host_.client.files.clear();
  host_.client.script = {kOk};
  ptr file = nullptr;
  EXPECT_EQ(host_.open(&file, "A", kOpenInput), kTempFailure) << "a fetch that leaves no file";
}

TEST_F(Dialogue, DebugLogsWhatTheClientSays) {
  assign("d/f", "DEBUG WAIT_MILLISECONDS=20");
  host_.client.script = {{"Connected\t", "to h\nsftp> "}, {"a%s", Chunk(kProcessFailed, "half")}};
  host_.logged();
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.logged(), "note: Connected\\x09|note: to h\\x0asftp> |note: a%s|note: half|");
  EXPECT_EQ(host_.pauses, std::vector<long>(4, 20));
}

TEST_F(Dialogue, OneClientServesAllFiles) {
  assign("d/f");
  host_.client.script = {kOk, kEnded};
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.client.alive, 1);
  host_.client.script = {kRefused};
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.client.alive, 0) << "a failed start ends the client of the one before";
  EXPECT_EQ(start(), kSuccess);
  EXPECT_EQ(start(), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\ncd \"d\"\n2> sftp   h\n2> cd \"d\"\n");
}

TEST_F(Dialogue, ACommandThatDoesNotFitIsNotSent) {
  const std::string long_name(4050, 'x');
  assign(long_name);
  ptr file = nullptr;
  EXPECT_EQ(host_.open(&file, "A", kOpenInput), kFailed);
  EXPECT_EQ(host_.attached(), failed(long_name) + kTooLong);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\n") << "no part of it is sent";
}

// The module could not clean up behind them.
TEST_F(Dialogue, ExceptionsOfTheHostAreItsFailures) {
  assign("f");
  const auto throws = [](auto&&...) -> TKStatus { throw std::runtime_error("no luck"); };
  host_.runtime.on_pause = throws;
  EXPECT_EQ(start(), kSuccess) << "a pause may fail";
  host_.runtime.toolkit.launcher = throws;
  host_.fileref("A")->flag |= kSessionPending;
  EXPECT_EQ(start(), kFailed);
  EXPECT_EQ(host_.attached(), kNotStarted);
  EXPECT_EQ(host_.runtime.toolkit.trouble().explanation, "no luck");
}

TEST_F(Dialogue, ANameIsFoundInAnyCase) {
  assign("f");
  ptr file = &file;
  char nobody[] = "nobody  ";
  char lower[] = "a       ";
  WX_OPENPARM parms{};
  parms.hostptr = host_.options("LRECL=9");
  REB* request = host_.runtime.request();
  EXPECT_EQ(host_.table().amopen.entryp(&file, nobody, request, &parms), kNotAssigned);
  EXPECT_EQ(host_.attached(), "NOBODY");
  EXPECT_EQ(file, nullptr);
  parms.hostptr = nullptr;
  EXPECT_EQ(host_.table().amopen.entryp(&file, lower, request, &parms), kSuccess);
  EXPECT_EQ(std::string(static_cast<FFCB*>(file)->logname, 8), "A       ");
  EXPECT_EQ(host_.close(file), kSuccess);
}

}  // namespace
}  // namespace fileref
