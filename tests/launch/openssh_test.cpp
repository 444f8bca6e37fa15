// The real client on the real file server.
#include <sys/stat.h>

#include "runtime/name_escape.h"
#include "tests/launch/session.h"
#include "tests/support/hostile_names.h"

namespace fileref::runtime {
namespace {

using support::fs::exists;

class Openssh : public Session {};

TEST_F(Openssh, CarriesAnyName) {
  connect(kServer);
  std::string every_byte;
  for (int c = 1; c < 256; ++c) {
    if (c != '\n' && c != '/') every_byte += static_cast<char>(c);
  }
  std::vector<std::string> names = split(
      "plain/--/-/\\/a\\/\\\\\\/q\"u\"o\\\"te/*/?/[/]/a*b?c[d]/\\*/\\?x\\[/{/}/\\{a,b\\}/}{/#/@x/"
      "~root/"
      "%d/`id`/a;b/a|b&c/FAILURE/\r/\t/x y 7 Nov 22 21:25 z",
      '/');
  for (const std::string& name : hostile_names()) names.push_back(name);
  names.push_back(every_byte.substr(0, 127));
  names.push_back(every_byte.substr(127));
  for (const std::string& name : names) {
    const std::string content = "content of " + name, sent = escape_name(name);
    write_file(local_, content);
    ASSERT_EQ(put(sent), kPrompt) << name << client_->explanation() << client_->words();
    ASSERT_EQ(read_file(remote_ / name), content) << name;
    write_file(local_, "");
    ASSERT_EQ(get(sent), kPrompt) << name << client_->explanation() << client_->words();
    ASSERT_EQ(read_file(local_), content) << name;
    support::fs::remove(remote_ / name);
    ASSERT_EQ(get(sent), kRefused) << name;
    ASSERT_EQ(ask("mkdir \"" + sent + "\""), kPrompt) << name;
    ASSERT_EQ(put(sent), "failed") << name;
    ASSERT_EQ(ask("cd \"" + sent + "\""), kPrompt) << name;
    ASSERT_EQ(ask("mkdir \"in\""), kPrompt) << name;
    ASSERT_TRUE(exists(remote_ / name / "in")) << name;
    ASSERT_EQ(ask("cd \"..\""), kPrompt) << name;
    support::fs::remove_all(remote_ / name);
    ASSERT_TRUE(support::fs::is_empty(remote_)) << name;
  }
}

TEST_F(Openssh, TellsFailuresFromSuccess) {
  connect(kServer);
  write_file(remote_ / "file", "data");
  write_file(remote_ / "empty", "");
  support::fs::create_symlink("file", remote_ / "link");
  support::fs::create_symlink("nowhere", remote_ / "dangling");
  for (const char* name : {"empty-directory", "one", "two"}) {
    support::fs::create_directory(remote_ / name);
  }
  write_file(remote_ / "one/a", "data");
  write_file(remote_ / "two/a", "1");
  write_file(remote_ / "two/b", "2");
  ASSERT_EQ(mkfifo((remote_ / "fifo").c_str(), 0600), 0);
  write_file(local_, "data");
  const std::string file = (remote_ / "file").string(), up = "put \"" + local_ + "\" ";
  const std::pair<std::string, std::string> cases[] = {
      {"cd \"nope\"", kNotThere},
      {"cd \"file\"", kNotThere},
      {"cd \"no/pe\"", kNotThere},
      {"cd \"\"", kNotThere},
      {"cd \"" + remote_.string() + "\"", kPrompt},
      {"mkdir \"file\"", "failure\nsftp> "},
      {"mkdir \"no/pe\"", "failure\nsftp> "},
      {"mkdir \"new\"", kPrompt},
      {"get \"nope\" \"" + local_ + "\"", kRefused},
      {"get \"dangling\" \"" + local_ + "\"", kRefused},
      {"get \"one\" \"" + local_ + "\"", kRefused},
      {"get \"two\" \"" + local_ + "\"", kRefused},
      {"get \"fifo\" \"" + local_ + "\"", kRefused},
      {"get \"file/\" \"" + local_ + "\"", kRefused},
      {"get \"link\" \"" + local_ + "\"", kPrompt},
      {"get \"" + file + "\" \"" + local_ + "\"", kPrompt},
      {"get \"file\" \"/no/such/directory/x\"", "failed"},
      {up + "\"one\"", "failed"},
      {up + "\"one/\"", "failed"},
      {up + "\"two\"", "failed"},
      {up + "\"empty-directory\"", "failed"},
      {up + "\".\"", "failed"},
      {up + "\"..\"", "failed"},
      {up + "\"/\"", "failed"},
      {up + "\"no/such\"", "failed"},
      {up + "\"\"", "failed"},
      {up + "\"one/a\"", kPrompt},
      {up + "\"link\"", kPrompt},
      {"put \"/no/such\" \"x\"", "not sent"},
      {"put \"" + directory_.path().string() + "\" \"x\"", "not sent"},
      {"rm \"file\"", "not sent"},
      {"cd \"x\n!touch " + file + "2\"", "not sent"},
      {"cd \"" + std::string(2042, 'x') + "!touch " + file + "2", "not sent"},
  };
  for (const auto& [command, result] : cases) {
    kept_.clear();
    EXPECT_EQ(ask(command), result) << command << client_->words();
    const bool failed_upload = command.starts_with(up) && result == "failed";
    EXPECT_EQ(kept_, failed_upload ? local_ : "") << command;
    const bool good = result == kPrompt;
    EXPECT_EQ(client_->explanation() + client_->words() == "", good) << command;
    EXPECT_EQ(read_file(local_), "data") << command;
    EXPECT_FALSE(exists(local_ + ".part")) << command;
  }
  EXPECT_FALSE(exists(file + "2"));
  EXPECT_FALSE(exists(directory_ / "remote/local") || exists(remote_ / "one/local"));
  EXPECT_EQ(get("empty"), kPrompt);
  EXPECT_EQ(read_file(local_), "");
  EXPECT_EQ(put("emptied"), kPrompt);
  EXPECT_TRUE(exists(remote_ / "emptied"));
}

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
