// The real client on the real file server.
#include <sys/stat.h>

#include "tests/launch/session.h"

namespace fileref::runtime {
namespace {

class Openssh : public ClientTest {};

TEST_F(Openssh, GivesNewRemoteFilesOrdinaryPermissions) {
  connect(kServer);
  write_file(local_, "data");
  support::fs::permissions(local_, support::fs::perms(0600));
  const mode_t before = umask(027);
  EXPECT_EQ(put("new"), kPrompt);
  umask(before);
  EXPECT_EQ(support::fs::status(remote_ / "new").permissions(), support::fs::perms(0640));
  support::fs::permissions(remote_ / "new", support::fs::perms(0040));
  if (geteuid() != 0) return;
  EXPECT_EQ(get("new"), kPrompt);
  EXPECT_EQ(support::fs::status(local_).permissions(), support::fs::perms(0600));
}

TEST_F(Openssh, KeepsAJournalInTheClientsOwnWords) {
  connect(kServer);
  journal_.clear();
  EXPECT_EQ(ask("cd \"nope\""), kNotThere);
  EXPECT_EQ(client_->words(), "stat remote: No such file or directory\n");
  EXPECT_EQ(get("nope"), kRefused);
  const std::string here = remote_;
  EXPECT_EQ(journal_,
            "> cd \"nope\"\n> pwd\nstat remote: No such file or directory\n"
            "Remote working directory: " +
                here +
                "\n> ls -ln \"nope\"\n"
                "Can't ls: \"" +
                here + "/nope\" not found\n> get \"nope\" \"" + local_ + ".part\"\nFile \"" + here +
                "/nope\" not found.\n");
}

TEST_F(Openssh, RunsABatchToItsEnd) {
  const std::string batch = directory_ / "batch";
  const std::tuple<std::string, std::string, int> cases[] = {
      {"pwd\n", "end of output", 0},
      {"get /no/such/file\npwd\n", "failed", 1},
      {"-get /no/such/file\n!sleep 0.3\n", "end of output", 0},
  };
  limits_.start = limits_.command = milliseconds(200);
  for (const auto& [commands, end, status] : cases) {
    write_file(batch, commands);
    ASSERT_TRUE(launch("sftp -b \"" + batch + "\" -D " + kServer + " ")) << why_;
    std::string output, last;
    while ((last = answer()) != end) ASSERT_FALSE((output += last).empty());
    EXPECT_TRUE(output.starts_with("sftp> " + commands.substr(0, 5))) << output;
    EXPECT_EQ(client_->exit_status(), status) << commands;
    EXPECT_EQ(answer(), "end of output");
  }
}

TEST_F(Openssh, EndsAtOnceWhenIdle) {
  connect(kServer);
  const auto start = Clock::now();
  client_.reset();
  EXPECT_LT(Clock::now() - start, milliseconds(500));
}

TEST_F(Openssh, ReadsInPiecesAndDropsWhatIsLeft) {
  connect(kServer);
  char piece[8];
  std::size_t length = 0;
  ASSERT_EQ(client_->send("cd \"nope\"\n"), kSuccess);
  EXPECT_TRUE(client_->busy());
  EXPECT_EQ(client_->wait(milliseconds(5000)), kSuccess);
  EXPECT_FALSE(client_->busy());
  ASSERT_EQ(client_->read(1, piece, sizeof piece, &length), kSuccess);
  EXPECT_EQ(std::string(piece, length), "no such ");
  EXPECT_EQ(ask("cd \".\""), kPrompt);
  ASSERT_EQ(client_->send("cd \"nope\"\n"), kSuccess);
  EXPECT_EQ(ask("cd \".\""), kPrompt);
  EXPECT_EQ(answer(0), "");
  EXPECT_EQ(client_->wait(milliseconds(10000)), kNoAnswerInTime);
}

}  // namespace
}  // namespace fileref::runtime
