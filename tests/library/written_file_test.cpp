// Files that are written whole, and sent from where they are.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "runtime/fd.h"
#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

using runtime::Fd;

class WrittenFiles : public Library {
 protected:
  Fd opened(const std::string& name) const {
    return Fd(open((directory_ / name).c_str(), O_RDONLY | O_CLOEXEC));
  }
  // Of a file that is not sent yet.
  void expect_no_copy() const {
    const auto files = support::fs::recursive_directory_iterator(directory_ / "temporary");
    for (const auto& entry : files) {
      EXPECT_TRUE(entry.is_directory() || entry.path().filename() == "in-use.lock") << entry;
    }
  }
};

TEST_F(WrittenFiles, AreTheSameAsRecordByRecord) {
  const std::string many = lines(1'000'000, 70, 10);
  const struct {
    const char* what;
    std::vector<std::string> options;
    std::string text;
    off_t from = 0;
    bool taken = true;
  } rows[] = {
      {"lines", {"LRECL=70"}, many},
      {"the rest", {}, many, 333'333},
      {"an open line", {}, many + "open"},
      {"a stream", {"RECFM=S"}, std::string("\0\xff\n", 3) + many + std::string(2'000'000, 'x')},
      {"long lines", {"LRECL=900000"}, lines(3'000'000, 800'000, 900'000)},
      {"one byte too many", {"LRECL=70"}, many + std::string(71, 'x'), 0, false},
      {"one amid others", {"LRECL=69"}, many, 0, false},
      {"longer than is looked at", {"LRECL=5000000"}, std::string(3'000'000, 'x'), 0, false},
      {"nothing", {}, ""},
      {"nothing left", {}, "x\n", 2, false},
      {"fixed", {"RECFM=F", "LRECL=2"}, "x\n", 0, false},
      {"converted", {"ENCODING='UTF-16LE'"}, "x\n", 0, false}};
  host_->assign("OUT", target("out"));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    put("in", row.text);
    put("out", "old");
    const Fd in = opened("in");
    lseek(in.get(), row.from, SEEK_SET);
    Output out = host_->create("OUT", row.options);
    const bool taken = out.write_file(in.get());
    EXPECT_EQ(taken, row.taken && !row.text.empty());
    const off_t end = static_cast<off_t>(row.text.size());
    EXPECT_EQ(lseek(in.get(), 0, SEEK_CUR), taken ? end : row.from);
    if (taken) {
      expect_no_copy();
      EXPECT_NE(failure([&] { out.write("late"); }).code(), 0);
      EXPECT_NE(failure([&] { out.write_lines("late\n"); }).code(), 0);
      EXPECT_FALSE(out.write_file(opened("in").get()));
    }
    out.close();
    const std::string sent = taken ? row.text.substr(static_cast<std::size_t>(row.from)) : "";
    EXPECT_TRUE(get("out") == sent) << get("out").size();
    EXPECT_TRUE(get("in") == row.text);
  }
}

TEST_F(WrittenFiles, AreNoneThatOnlyLookLikeFilesOrFollowRecords) {
  put("in", "x\n");
  const Fd nameless = opened("in");
  support::fs::remove(directory_ / "in");
  put("in", "x\n");
  int pipe_ends[2];
  ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
  const Fd pipe(pipe_ends[0]), other_end(pipe_ends[1]);
  const Fd system(open("/proc/self/status", O_RDONLY | O_CLOEXEC));
  const Fd unreadable(open((directory_ / "in").c_str(), O_WRONLY | O_CLOEXEC));
  host_->assign("OUT", target("out"));
  for (const int file : {nameless.get(), pipe.get(), system.get(), unreadable.get(), -1}) {
    EXPECT_FALSE(host_->create("OUT").write_file(file));
  }
  Output begun = host_->create("OUT");
  begun.write("first");
  EXPECT_FALSE(begun.write_file(opened("in").get()));
  begun.close();
  EXPECT_EQ(get("out"), "first\n");
  HostOptions program = options();
  program.client = "openssh";
  Host other(program);
  other.assign("OUT", target("out"));
  EXPECT_FALSE(other.create("OUT").write_file(opened("in").get()));
}

TEST_F(WrittenFiles, ReplaceThemselvesUnharmed) {
  const std::string many = lines(500'000, 70, 10);
  for (const bool atomic : {false, true}) {
    HostOptions replacing = options();
    replacing.atomic_uploads = atomic;
    Host host(replacing);
    for (const off_t from : {0, 100'000}) {
      put("in", many);
      support::fs::remove(directory_ / "link");
      support::fs::create_symlink(directory_ / "in", directory_ / "link");
      host.assign("OUT", target("link"));
      const Fd in = opened("in");
      lseek(in.get(), from, SEEK_SET);
      Output out = host.create("OUT");
      EXPECT_TRUE(out.write_file(in.get()));
      out.close();
      EXPECT_TRUE(get("in") == many.substr(static_cast<std::size_t>(from))) << get("in").size();
    }
  }
}

// What cannot be sent stays where it is as long as that can be, and what is not to be sent is not.
TEST_F(WrittenFiles, ThatDoNotArriveAreKept) {
  support::fs::create_directory(directory_ / "folder");
  const std::string too_long(4060 - directory_.path().string().size(), 'x');
  for (const std::string& name : {std::string("folder"), too_long}) {
    for (const bool is_removed : {false, true}) {
      put("in", "xprecious\n");
      host_->assign("OUT", target(name));
      const Fd in = opened("in");
      lseek(in.get(), 1, SEEK_SET);
      Output out = host_->create("OUT");
      ASSERT_TRUE(out.write_file(in.get()));
      if (is_removed) support::fs::remove(directory_ / "in");
      const Failure failed = failure([&] { out.close(); });
      EXPECT_EQ(support::fs::exists(directory_ / "unsent"), is_removed) << failed.what();
      support::fs::path kept = directory_ / "in";
      if (is_removed) kept = support::fs::directory_iterator(directory_ / "unsent")->path();
      EXPECT_EQ(support::read_file(kept), is_removed ? "precious\n" : "xprecious\n");
      EXPECT_NE(failed.explanation().find(kept.string()), std::string::npos)
          << failed.explanation();
      support::fs::remove_all(directory_ / "unsent");
    }
  }
  put("in", "xprecious\n");
  put("out", "old");
  host_->assign("OUT", target("out"));
  Output given_up = host_->create("OUT");
  EXPECT_TRUE(given_up.write_file(opened("in").get()));
  given_up.abandon();
  EXPECT_EQ(get("out"), "old");
  Output shrunk = host_->create("OUT");
  EXPECT_TRUE(shrunk.write_file(opened("in").get()));
  put("in", "x");
  const Failure failed = failure([&] { shrunk.close(); });
  EXPECT_NE(failed.explanation().find("has become shorter"), std::string::npos) << failed.what();
  EXPECT_NE(failed.explanation().find("could not be kept"), std::string::npos) << failed.what();
}

}  // namespace
}  // namespace fileref
