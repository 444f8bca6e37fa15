#include "runtime/launch/child/child.h"

#include <fcntl.h>
#include <signal.h>

#include "tests/launch/session.h"

namespace fileref::runtime {
namespace {

class ChildTest : public ClientTest {
 protected:
  std::unique_ptr<Child> shell(const std::string& script) {
    auto child = Child::start({"sh", "-c", script}, Terminal::kNone, &why_);
    EXPECT_TRUE(child) << why_;
    return child;
  }

  // Everything that the child writes until its output ends.
  void listen(Child* child) {
    const auto deadline = deadline_after(milliseconds(10'000));
    while (child->talking() && child->pump(deadline, &out_, &err_)) {
    }
    EXPECT_FALSE(child->talking());
  }

  std::string out_, err_;
};

TEST_F(ChildTest, StartsFromACleanSlate) {
  const int leaked = open("/dev/null", O_RDONLY);
  sigset_t term, before;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &term, &before);
  const auto pipe_before = signal(SIGPIPE, SIG_IGN);
  auto child = shell(
      "cd /proc/self/fd; echo *; while read -r name value; do case $name in Sig[BI]*) echo "
      "$value;; "
      "esac; done < /proc/self/status; echo $LC_ALL; ps -o sid= -p $$");
  signal(SIGPIPE, pipe_before);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(leaked);
  listen(child.get());
  const std::string none = "0000000000000000\n";
  std::string session = std::to_string(child->pid()) + "\n";
  EXPECT_EQ(out_.substr(0, out_.find('\n')).find_first_not_of("0123 "), std::string::npos) << out_;
  const std::string file_size_alone = "0000000001000000\n";
  EXPECT_NE(out_.find("\n" + none + file_size_alone + "C.UTF-8\n"), std::string::npos) << out_;
  EXPECT_TRUE(out_.ends_with(session)) << out_;
}

TEST_F(ChildTest, MovesAllThreeStreamsAtOnce) {
  auto child = shell("head -c 3000000 /dev/zero >&2; head -c 3000000 /dev/zero; wc -c");
  child->queue(std::string(3'000'000, 'x'));
  const auto deadline = deadline_after(milliseconds(10'000));
  while (err_.size() + out_.size() < 6'000'000 && child->pump(deadline, &out_, &err_)) {
  }
  while (child->pump(deadline_after(milliseconds(200)), &out_, &err_)) {
  }
  child->close_input();
  listen(child.get());
  EXPECT_EQ(err_.size(), 3'000'000u);
  EXPECT_EQ(out_.substr(3'000'000), "3000000\n");
}

TEST_F(ChildTest, SurvivesAChildThatDoesNotRead) {
  auto child = shell("exec 0<&-; echo closed; sleep 0.1; echo still here");
  while (out_.empty()) child->pump(deadline_after(milliseconds(1000)), &out_, &err_);
  child->queue("a line\n");
  listen(child.get());
  child->queue("another\n");
  EXPECT_FALSE(child->pump(Clock::now(), &out_, &err_));
  EXPECT_EQ(out_, "closed\nstill here\n");
}

TEST_F(ChildTest, EndsWhateverTheClientDoes) {
  struct Case {
    std::string script, ending;
    milliseconds least, most;
  };
  const Case cases[] = {
      {"echo; cat; exit 7", "exit status 7", milliseconds(0), milliseconds(490)},
      {"echo; yes; exit 7", "signal 15: Terminated", milliseconds(500), milliseconds(990)},
      {"echo; sleep 60", "signal 15: Terminated", milliseconds(500), milliseconds(990)},
      {"trap '' TERM; echo; while :; do sleep 60; done", "signal 9: Killed", milliseconds(1000),
       milliseconds(5000)},
      {"echo; kill -STOP $$", "signal 9: Killed", milliseconds(1000), milliseconds(5000)},
      {"echo; exec >&- 2>&-; sleep 0.1; exit 3", "exit status 3", milliseconds(0),
       milliseconds(490)},
      {"sleep 5 & echo; exit 4", "exit status 4", milliseconds(0), milliseconds(490)},
  };
  for (const Case& c : cases) {
    out_.clear();
    auto child = shell(c.script);
    while (out_.empty()) child->pump(deadline_after(milliseconds(1000)), &out_, &err_);
    const auto start = Clock::now();
    child->end(milliseconds(500), milliseconds(500));
    EXPECT_GE(Clock::now() - start, c.least) << c.script;
    EXPECT_LT(Clock::now() - start, c.most) << c.script;
    EXPECT_EQ(describe(*child->ending()), c.ending) << c.script;
    child->signal(SIGKILL);
  }
}

TEST_F(ChildTest, IsOverWhenTheProcessIsGoneThoughAnotherHoldsThePipe) {
  auto child = shell("sleep 60 & echo $!; echo words >&2");
  const auto start = Clock::now();
  listen(child.get());
  EXPECT_LT(Clock::now() - start, milliseconds(1000));
  EXPECT_EQ(err_, "words\n");
  EXPECT_TRUE(child->ending());
  const pid_t left = std::stoi(out_);
  EXPECT_TRUE(support::eventually([&] { return ::kill(left, 0) != 0; }));
}

TEST_F(ChildTest, IsWatchedOverBySomethingSmall) {
  const std::string large(64 << 20, 'x');
  auto child = shell("cat");
  const auto ours = support::children_of(getpid());
  ASSERT_EQ(ours.size(), 2u);
  const std::string guardian = "/proc/" + std::to_string(ours.back());
  const auto resident_pages = [&] {
    std::istringstream fields(read_file(guardian + "/statm"));
    long size = 0, resident = 0, shared = 0;
    fields >> size >> resident >> shared;
    return resident - shared;
  };
#ifndef FILEREF_SANITIZED  // what keeps all memory
  EXPECT_TRUE(support::eventually([&] { return resident_pages() * getpagesize() < 4 << 20; }));
#else
  EXPECT_TRUE(support::eventually([&] { return resident_pages() > 0; }));
#endif
  EXPECT_TRUE(support::eventually([&] {
    const support::fs::directory_iterator open(guardian + "/fd");
    return std::distance(begin(open), end(open)) == 3;
  }));
  child->end(milliseconds(500), milliseconds(500));
  EXPECT_TRUE(support::children_of(getpid()).empty());
}

}  // namespace
}  // namespace fileref::runtime
