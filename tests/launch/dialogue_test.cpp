// Clients made of a few lines of shell: programs that nothing is known about, and impostors of the
// known one.
#include "tests/launch/session.h"

namespace fileref::runtime {
namespace {

using namespace std::string_view_literals;

class Dialogue : public ClientTest {
 protected:
  Dialogue() { limits_.close_grace = milliseconds(100); }

  void play(const std::string& script, const std::string& adapter) {
    ASSERT_TRUE(launch("sh -c '" + script + "' host", adapter)) << why_;
  }
};

const std::string kEcho =
    "printf \"sftp> \"; while read -r line; do echo \"no $line\" >&2; "
    "printf \"<%s>\\nsftp> \" \"$line\"; done";

TEST_F(Dialogue, APlainClientIsPassedThrough) {
  play(kEcho, "");
  EXPECT_TRUE(client_->busy());
  client_->pump(milliseconds(10'000));
  EXPECT_FALSE(client_->busy());
  EXPECT_EQ(answer(), kPrompt);
  EXPECT_EQ(client_->send("cd \"x\"\n"), kSuccess);
  client_->pump(milliseconds(10'000));
  EXPECT_EQ(client_->send("ls {}\x1fx\n"), kSuccess);
  client_->pump(milliseconds(10'000));
  EXPECT_EQ(answer(), "<ls {} x>\nsftp> ");
  EXPECT_EQ(client_->words(), "no ls {} x\n");
  EXPECT_EQ(answer(0), "");
  EXPECT_EQ(client_->wait(milliseconds(20)), kNoAnswerInTime);
  for (const std::string_view command : {"a\0b\n"sv, "a\nb\n"sv}) {
    EXPECT_EQ(client_->send(command), kProcessFailed);
  }
  client_->close_streams();
  EXPECT_EQ(answer(), "end of output");
  EXPECT_EQ(ask("ls"), "not sent");
  EXPECT_NE(journal_.find("> ls {} x\n"), std::string::npos);
  EXPECT_NE(journal_.find("<ls {} x>\n"), std::string::npos);
}

TEST_F(Dialogue, APlainClientsOutputIsNotHeldBack) {
  play("echo one; sleep 0.2; echo two; exit 3", "plain");
  EXPECT_EQ(answer(), "one\n");
  const auto start = Clock::now();
  client_->pump(milliseconds(50));
  EXPECT_GE(Clock::now() - start, milliseconds(50));
  EXPECT_EQ(client_->wait(milliseconds(10'000)), kSuccess);
  EXPECT_EQ(answer(), "two\n");
  EXPECT_EQ(answer(), "end of output");
  EXPECT_EQ(client_->exit_status(), 3);
  EXPECT_EQ(client_->words(), "one\ntwo\n");
}

TEST_F(Dialogue, APlainClientMayPrintMuch) {
  play("yes \"0123456789\" | head -c 5500000; printf \"sftp> \"", "plain");
  std::string all;
  while (!all.ends_with(kPrompt)) ASSERT_FALSE((all += answer()).empty());
  EXPECT_EQ(all.size(), 5'500'000u + kPrompt.size());
  EXPECT_EQ(all.substr(all.size() - 17), "0123456789\n" + kPrompt);
}

TEST_F(Dialogue, ASilentClientIsEndedAtTheLimit) {
  limits_.start = limits_.command = milliseconds(100);
  for (const char* adapter : {"plain", "openssh"}) {
    play("cat >/dev/null", adapter);
    EXPECT_EQ(answer(), "no answer in time") << adapter;
    EXPECT_EQ(client_->explanation(),
              "the client gave no answer within the start limit of 100 ms and was ended "
              "(--start-limit raises it): check host and port");
    EXPECT_TRUE(client_->exit_status());
    EXPECT_EQ(ask("cd \"x\""), "not sent");
  }
  play("printf \"sftp> \"; sleep 60", "plain");
  EXPECT_EQ(answer(), kPrompt);
  EXPECT_EQ(answer(), "no answer in time");
  EXPECT_FALSE(client_->exit_status()) << "it owed nothing";
}

TEST_F(Dialogue, NothingButTheSentinelOfItsOwnExchangeEndsAnAnswer) {
  limits_.start = milliseconds(5000);
  limits_.command = milliseconds(200);
  const std::string start =
      "read -r a; echo \"sftp> $a\"; read -r b; read -r c; "
      "echo \"sftp> $b\"; echo \"Remote working directory: /\"; "
      "echo \"sftp> $c\"; read -r d; read -r e; read -r f; ";
  const std::pair<std::string, std::string> cases[] = {
      {"echo \"sftp> $f\"; sleep 60", kPrompt},
      {"printf \"sftp> $f\"; sleep 60", "no answer in time"},
      {"printf \"sftp> $f\"", "end of output"},
      {"echo \"sftp> $c\"; sleep 60", "no answer in time"},
      {"echo \"sftp> $c\"", "end of output"},
      {"echo \"x sftp> $f\"; sleep 60", "no answer in time"},
      {"echo \"sftp> \"; sleep 60", "no answer in time"},
      {"yes >&2", "no answer in time"},
      {"yes", "no answer in time"},
  };
  for (const auto& [script, result] : cases) {
    play(start + script, "openssh");
    ASSERT_EQ(answer(), kPrompt) << script;
    EXPECT_EQ(ask("cd \"/\""), result) << script;
    EXPECT_LE(client_->words().size(), 4096u);
  }
}

TEST_F(Dialogue, AFloodStaysOutOfTheJournal) {
  play(
      "yes | head -c 3000000 >&2; yes | head -c 3000000; printf \"sftp> \"; read -r line; echo end",
      "plain");
  while (!answer().ends_with(kPrompt)) {
  }
  EXPECT_EQ(ask("cd \"x\""), "end\n");
  EXPECT_LT(journal_.size(), 70'000u);
  EXPECT_NE(journal_.find(" bytes more]\n> cd \"x\"\nend\n"), std::string::npos);
}

TEST_F(Dialogue, ABatchThatFailsSaysWhere) {
  write_file(local_, "pwd\n-get nope\nget nope2 x\npwd\n");
  const std::string missing = directory_ / "missing";
  const std::string direct = " -D " + kServer + " ";
  const std::string cannot = "cannot be read: No such file or directory";
  const struct {
    std::string words, told;
    bool starts;
  } cases[] = {
      {"-b \"" + local_ + "\"", "the batch stopped at \"get nope2 x\"", true},
      {"-b \"" + missing + "\"", "the batch file \"" + missing + "\" " + cannot, false},
      {"-b -", "name a file", false},
      {"-b \"-\"", "name a file", false},
      {"-b /dev/stdin", "name a file", false},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(launch("sftp " + c.words + direct), c.starts) << why_;
    if (c.starts) {
      for (std::string said; said != "failed" && said != "end of output";) said = answer();
      EXPECT_EQ(client_->explanation(), c.told);
      EXPECT_NE(client_->words().find("nope2"), std::string::npos);
    } else {
      EXPECT_NE(why_.find(c.told), std::string::npos) << why_;
    }
  }
}

TEST_F(Dialogue, AnUnknownAdapterIsRefused) {
  EXPECT_FALSE(launch("sh host", "telnet"));
  EXPECT_EQ(why_,
            "unknown client adapter \"telnet\": use \"direct\", \"openssh\", "
            "\"psftp\" or \"plain\"");
}

}  // namespace
}  // namespace fileref::runtime
