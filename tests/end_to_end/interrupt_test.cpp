// A signal ends the command at once, whatever it waits for, and nothing is left behind.
#include <algorithm>
#include <array>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {
namespace {

using std::chrono::milliseconds;

TEST_F(CommandTest, AnInterruptEndsEveryWait) {
  support::write_file(remote("data"), random_bytes(2'000'000, 3));
  // A pipe that stays silent, and full, because nobody else is there.
  const std::string pipe = directory_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int both_ends = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  const auto faulty = [](const std::string& fault) {
    return " -o RECFM=S -o \"OPTIONS='-D \\\"" FILEREF_BUILD_DIRECTORY "/faulty_server " + fault +
           "\\\"'\"";
  };
  support::write_file(directory_ / "long", "");
  support::fs::resize_file(directory_ / "long", std::uintmax_t{2} << 30);
  support::fs::create_directory(remote("in"));
  const std::string cases[] = {
      "copy local:" + (directory_ / "long").string() + " " + remote("in").string(),
      "copy " + (directory_ / "long").string() + " " + local("in/"),
      "write " + local("in/new") + " -o RECFM=S <" + (directory_ / "long").string(),
      "read " + local("data") + faulty("stall 1000000"),
      "read " + local("data") + faulty("drop 0") + " --retries 1000",
      "ls " + local("") + faulty("mute"),
      "read " + local("data") + faulty("mute") + " --client plain",
      "write " + local("new") + " <" + pipe,
      "write " + local("new") + " </dev/zero -o RECFM=S",
      "read " + local("data") + " -o RECFM=S >" + pipe,
  };
  int turn = 0;
  for (const std::string& words : cases) {
    for (const int delay : {0, 10, 30, 100, 400}) {
      const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[turn++ % 3];
      SCOPED_TRACE(words + " after " + std::to_string(delay) + " ms");
      support::Program program({"sh", "-c", "exec " + command() + " " + words}, "", environment());
      std::this_thread::sleep_for(milliseconds(delay));
      const auto start = std::chrono::steady_clock::now();
      kill(program.pid(), signal);
      const support::Outcome outcome = program.wait();
      EXPECT_EQ(outcome.status, 128 + signal) << outcome.err;
      EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(1500));
      EXPECT_LE(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
      EXPECT_TRUE(support::fs::is_empty(temporary_));
      EXPECT_TRUE(support::left_behind({server_->pid()}).empty());
      EXPECT_TRUE(support::fs::is_empty(remote("in")));
    }
  }
  EXPECT_FALSE(support::fs::exists(remote("new")));
  close(both_ends);
}

}  // namespace
}  // namespace fileref
