// Servers that misbehave, clients that die and answers that never come, with every client.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <thread>

#include "tests/launch/conformance.h"

namespace fileref::runtime {
namespace {

constexpr std::size_t kSize = 1 << 20;

class Faults : public Conformance {
 protected:
  Faults() {
    for (std::size_t i = 0; i < kSize; ++i) content_ += static_cast<char>('a' + i * 7 / 1000 % 26);
    write_file(remote_ / "file", content_);
    write_file(local_, "old");
  }

  void connect_to(const std::string& fault) { connect(kFaultyServer + " " + fault); }
  std::string file() const { return remote_ / "file"; }
  bool nothing_half_done() const { return !support::fs::exists(local_ + ".part"); }

  std::string content_;
};

TEST_P(Faults, NoBrokenDownloadIsTakenForASuccess) {
  struct Case {
    std::string fault, answer, explanation;
  };
  const std::string broke_off = "the download of \"file\" broke off: ";
  const std::string unread = "at byte 522240 the server says: failure";
  const Case cases[] = {
      {"none", kPrompt, ""},
      {"noise", kPrompt, ""},
      {"delay 1", kPrompt, ""},
      {"nosize", kPrompt, ""},
      {"grow 5000 " + file(), kPrompt, ""},
      {"nosize 522240", "failed",
       broke_off + (is_direct()  ? unread
                    : is_psftp() ? "52"
                                 : "the client reports a failure behind 52")},
      {"eof 0", "failed", broke_off + "0 of 1048576 bytes arrived"},
      {"eof 522240", "failed", broke_off + "52"},
      {"unread 522240", "failed", broke_off + (is_direct() ? unread : "52")},
      {"drop 522240", "end of output", broke_off + "the client ended ("},
      {"drop 0", "end of output", broke_off + "the client ended ("},
  };
  for (const Case& c : cases) {
    write_file(file(), content_);
    write_file(local_, "old");
    connect_to(c.fault);
    EXPECT_EQ(get("file"), c.answer) << c.fault;
    EXPECT_TRUE(client_->explanation().starts_with(c.explanation)) << client_->explanation();
    const bool good = c.answer == kPrompt;
    EXPECT_EQ(client_->explanation().empty(), good) << c.fault;
    // One that grows is whole with what it had when it was opened.
    const std::string got = read_file(local_), whole = good ? read_file(file()) : "old";
    EXPECT_TRUE(got == whole || (good && is_direct() && got == content_)) << c.fault;
    EXPECT_TRUE(nothing_half_done()) << c.fault;
    EXPECT_EQ(get("nope"), c.answer == "end of output" ? "not sent" : kRefused) << c.fault;
  }
}

TEST_P(Faults, NoBrokenUploadIsTakenForASuccess) {
  struct Case {
    std::string fault;
    bool verify;
    std::size_t size;
    std::string told;  // empty: the upload is good
  };
  const std::string reading = is_direct()  ? "read back: at byte 522240"
                              : is_psftp() ? "error while reading"
                                           : "read remote \"";
  const std::string full = is_direct() ? "refuses to write: failure" : "of 1048576 bytes arrived";
  const std::string short_copy = is_direct() ? "of 1048576 bytes arrived" : "of 1048576 bytes came";
  const Case cases[] = {
      {"none", true, kSize, ""},
      {"nosize", false, kSize, ""},
      {"nosize", true, 12, ""},
      {"full 0", true, kSize, full},
      {"full 522240", true, kSize, full},
      {"hole 400000", true, kSize, "the upload of \"upload\" failed: "},
      {"garble 400000", true, kSize, "other data arrived"},
      {"garble 7", true, 12, "other data arrived"},
      {"eof 522240", true, kSize, short_copy},
      {"unread 522240", true, kSize, reading},
      {"drop 522240", true, kSize, "the client ended ("},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fault + ' ' + std::to_string(c.size));
    verify_ = c.verify;
    connect_to(c.fault);
    write_file(local_, content_.substr(0, c.size));
    kept_.clear();
    const bool good = c.told.empty();
    EXPECT_EQ(put("upload") == kPrompt, good);
    EXPECT_TRUE(tells(c.told)) << told();
    EXPECT_EQ(tells("; the remote file may be incomplete; the data is kept in"), !good) << told();
    EXPECT_EQ(kept_, good ? "" : local_);
    EXPECT_TRUE(!good || read_file(remote_ / "upload") == read_file(local_));
    EXPECT_FALSE(support::fs::exists(local_ + ".sent"));
    support::fs::remove(remote_ / "upload");
  }
}

TEST_P(Faults, AnUploadOfUnknownOutcomeIsCalledSo) {
  connect_to("delay 20");
  ASSERT_EQ(client_->send("put \"" + file() + "\" \"copy\"\n"), kSuccess);
  while (!support::fs::exists(remote_ / "copy")) client_->pump(milliseconds(5));
  client_->kill();
  EXPECT_EQ(answer(), "end of output");
  EXPECT_TRUE(tells("; the remote file may be incomplete; the data is kept in")) << told();
}

TEST_P(Faults, NoiseDecidesNothing) {
  connect_to("noise");
  EXPECT_EQ(ask("cd \"" + remote_.string() + "\""), kPrompt);
  EXPECT_EQ(ask("mkdir \"new\""), kPrompt);
  EXPECT_EQ(ask("cd \"new\""), kPrompt);
  EXPECT_EQ(ask("cd \"nope\""), kNotThere);
  EXPECT_EQ(ask("mkdir \"../new\""), "failure\nsftp> ");
  EXPECT_EQ(get("nope"), kRefused);
  EXPECT_EQ(get("../file"), kPrompt);
  EXPECT_EQ(put("../file"), kPrompt) << "the same size as before, and complaints";
  EXPECT_EQ(put("other"), kPrompt);
}

TEST_P(Faults, EveryWaitHasItsLimit) {
  struct Case {
    std::string fault, command;
    LaunchLimits limits;
  };
  LaunchLimits brief;
  brief.start = brief.command = brief.transfer = milliseconds(300);
  LaunchLimits patient;
  patient.transfer = milliseconds(300);
  const Case cases[] = {
      {"mute", "", brief},
      {"delay 500", "", brief},
      {"stall 65536", "get \"" + file() + "\" \"" + local_ + "\"", patient},
  };
  for (const Case& c : cases) {
    limits_ = c.limits;
    ASSERT_TRUE(launch(client_for(kFaultyServer + " " + c.fault))) << why_;
    if (!c.command.empty()) {
      ASSERT_EQ(answer(), kPrompt);
    }
    const auto start = Clock::now();
    EXPECT_EQ(c.command.empty() ? answer() : ask(c.command), "no answer in time") << c.fault;
    EXPECT_GE(Clock::now() - start, milliseconds(299)) << c.fault;
    EXPECT_LT(Clock::now() - start, milliseconds(1500)) << c.fault;
    const std::string limit = c.command.empty() ? "start" : "transfer";
    EXPECT_NE(client_->explanation().find("the " + limit + " limit of 300 ms"), std::string::npos);
    EXPECT_TRUE(client_->exit_status()) << "in doubt, so it was ended";
    EXPECT_EQ(ask("cd \"/\""), "not sent");
    EXPECT_EQ(answer(), "end of output");
    EXPECT_TRUE(nothing_half_done());
  }
}

TEST_P(Faults, AStalledTransferIsALostSession) {
  limits_.stall = milliseconds(300);
  retries_ = 1;
  for (const bool is_upload : {false, true}) {
    connect_to(is_upload ? "silent 65536" : "stall 65536");
    write_file(local_, content_);
    const auto start = Clock::now();
    EXPECT_EQ(is_upload ? put("sent") : get("file"), "end of output");
    EXPECT_GE(Clock::now() - start, milliseconds(600));
    EXPECT_LT(Clock::now() - start, milliseconds(20'000));
    EXPECT_TRUE(tells("nothing has moved for 300 ms (--stall-limit raises it)")) << told();
    EXPECT_TRUE(tells("tried 2 times")) << told();
  }
}

// Nor is one that only takes its time, to the last acknowledgement.
TEST_P(Faults, ASlowTransferDoesNotStall) {
  limits_.stall = milliseconds(600);
  content_.resize(content_.size() / 2);
  write_file(file(), content_);
  connect_to(is_psftp() ? "delay 30" : "delay 150");
  EXPECT_EQ(get("file"), kPrompt) << told();
  EXPECT_EQ(put("sent"), kPrompt) << told();
  EXPECT_TRUE(read_file(remote_ / "sent") == content_);
}

TEST_P(Faults, TransfersAreNotHeldToTheLimitOfQuickCommands) {
  limits_.command = milliseconds(400);
  // psftp asks for smaller pieces.
  for (int i = is_psftp() ? 3 : 0; i < 3; ++i) content_ += content_;
  write_file(file(), content_);
  connect_to("delay 20");
  const auto start = Clock::now();
  EXPECT_EQ(get("file"), kPrompt);
  EXPECT_GT(Clock::now() - start, milliseconds(400));
  EXPECT_EQ(read_file(local_), content_);
  EXPECT_EQ(put("copy"), kPrompt);
  // Both were long enough to tell how far they came.
  std::uint64_t before = 0;
  int ended = 0;
  for (const Told& told : progress_) {
    EXPECT_EQ(told.transfer.is_upload, ended == 1);
    EXPECT_EQ(told.transfer.remote, told.transfer.is_upload ? "copy" : "file");
    EXPECT_EQ(told.transfer.total, content_.size());
    EXPECT_GE(told.bytes, before);
    EXPECT_LE(told.bytes, content_.size());
    before = told.ended ? 0 : told.bytes;
    ended += told.ended;
  }
  EXPECT_EQ(ended, 2);
}

TEST_P(Faults, PumpLetsTimePassWhileTheAnswerIsUnderWay) {
  connect_to("delay 20");
  ASSERT_EQ(client_->send("get \"file\" \"" + local_ + "\"\n"), kSuccess);
  EXPECT_EQ(answer(0), "");
  const auto start = Clock::now();
  client_->pump(milliseconds(50));
  EXPECT_GE(Clock::now() - start, milliseconds(50));
  EXPECT_TRUE(client_->busy());
  client_->pump(milliseconds(60'000));
  EXPECT_FALSE(client_->busy());
  EXPECT_LT(Clock::now() - start, milliseconds(20'000));
  client_->pump(milliseconds(60'000));
  EXPECT_EQ(answer(0), kPrompt);
  EXPECT_EQ(read_file(local_), content_);
}

TEST_P(Faults, AClientKilledUnderWayIsAFailure) {
  connect_to("stall 65536");
  ASSERT_EQ(client_->send("get \"file\" \"" + local_ + "\"\n"), kSuccess);
  client_->pump(milliseconds(50));
  ASSERT_TRUE(client_->busy());
  EXPECT_EQ(client_->kill(), kSuccess);
  EXPECT_EQ(answer(), "end of output");
  EXPECT_EQ(client_->explanation(),
            "the download of \"file\" broke off: the client ended (signal 9: Killed)");
  EXPECT_EQ(client_->exit_status(), 128 + SIGKILL);
  EXPECT_TRUE(nothing_half_done());
  EXPECT_EQ(put("other"), "not sent");
  EXPECT_EQ(kept_, local_);
}

TEST_P(Faults, AClientThatDiedIdleFailsTheNextCommand) {
  connect(kServer);
  ::kill(static_cast<pid_t>(client_->pid()), SIGTERM);
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(put("other"), "end of output");
  EXPECT_EQ(kept_, local_);
}

TEST_P(Faults, AServerThatDiedIdleFailsTheNextCommand) {
  connect(kServer);
  for (const pid_t server : sessions()) ::kill(server, SIGKILL);
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(ask("cd \"/\""), "end of output");
  EXPECT_EQ(answer(), "end of output");
}

TEST_P(Faults, ALostSessionIsTakenUpWhereItStood) {
  support::fs::create_directory(remote_ / "sub");
  write_file(remote_ / "sub/file", "the right one");
  retries_ = 1;
  connect(kServer);
  ASSERT_EQ(ask("cd \"sub\""), kPrompt);
  for (const bool server_dies : {true, false}) {
    const auto victims =
        server_dies ? sessions() : std::vector<pid_t>{static_cast<pid_t>(client_->pid())};
    for (const pid_t victim : victims) ::kill(victim, SIGKILL);
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(get("file"), kPrompt) << told();
    EXPECT_EQ(read_file(local_), "the right one");
    EXPECT_EQ(ask("ls "), "sftp> ls\n. .. \nfile\n" + kPrompt);
  }
}

TEST_P(Faults, AnAbandonedTransferIsClosedWithoutTraces) {
  limits_.close_grace = milliseconds(100);
  connect_to("stall 65536");
  ASSERT_EQ(client_->send("get \"file\" \"" + local_ + "\"\n"), kSuccess);
  client_->pump(milliseconds(50));
  client_->close_streams();
  const auto start = Clock::now();
  client_.reset();
  EXPECT_LT(Clock::now() - start, milliseconds(1000));
  EXPECT_TRUE(nothing_half_done());
}

// Whatever ends the host, its client ends with it, and so does what the client started.
TEST_P(Faults, AKilledHostTakesItsClientAlong) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const auto known = support::children_of(getpid());
  const std::string big(64 << 20, 'x');
  write_file(local_, big);
  const struct {
    const char* name;
    bool may_ask, with_guardian;
  } cases[] = {{"sent", false, false}, {"asking", true, false}, {"unguarded", true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    may_ask_ = c.may_ask;
    const support::fs::path sent = remote_ / c.name;
    const auto size = [&] { return support::fs::exists(sent) ? support::fs::file_size(sent) : 0; };
    const pid_t host = fork();
    if (host == 0) {
      connect_to("delay 2");
      put(sent.filename());
      _exit(0);
    }
    EXPECT_TRUE(support::eventually([&] { return size() > 1'000'000; }));
    for (const pid_t child : support::children_of(host)) {
      const bool guards =
          read_file("/proc/" + std::to_string(child) + "/comm") == "fileref-guard\n";
      if (guards && c.with_guardian) kill(child, SIGKILL);
    }
    kill(host, SIGKILL);
    waitpid(host, nullptr, 0);
    EXPECT_TRUE(support::left_behind(known).empty());
    // What is on its way through the server still arrives.
    std::uintmax_t before = 0;
    while (before != size()) {
      before = size();
      std::this_thread::sleep_for(milliseconds(300));
    }
    EXPECT_LT(before, big.size());
  }
}

TEST_P(Faults, AForkedHostOnlyForgets) {
  connect_to("delay 20");
  ASSERT_EQ(client_->send("get \"file\" \"" + local_ + "\"\n"), kSuccess);
  client_->pump(milliseconds(50));
  const pid_t copy = fork();
  if (copy == 0) {
    client_.reset();
    _exit(0);
  }
  int status = 1;
  waitpid(copy, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(answer(), kPrompt) << told();
  EXPECT_EQ(read_file(local_), content_);
}

INSTANTIATE_TEST_SUITE_P(, Faults, kWays, Conformance::name);

}  // namespace
}  // namespace fileref::runtime
