#include "runtime/temp/temp_method.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>

#include "host/codes.h"
#include "tests/support/process.h"

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

class TempMethodTest : public testing::Test {
 protected:
  wrcode open(HOST_FILE** file, int openmode, int recfm = kRecfmVariable, long lrecl = 80) {
    WX_OPENPARM parms{};
    parms.openmode = openmode;
    parms.recfm = recfm;
    parms.datalen = lrecl;
    parms.encoding_override = encoding_;
    return temp_.open(file, name_, parms);
  }
  std::string read_all() {
    HOST_FILE* file = nullptr;
    if (open(&file, kOpenInput | (encoding_ > 0 ? kOpenEncoded : 0)) != kSuccess) return "no open";
    std::string text;
    ptr record = nullptr;
    long length = 0;
    tchar cc = 0;
    while ((file->filter != nullptr
                ? file->filter->read(file, &record, &length, &cc)
                : file->routines->amfpread(file->filepointer, &record, &length, &cc)) == kSuccess) {
      text += std::string(static_cast<char*>(record), static_cast<std::size_t>(length)) + "|";
    }
    EXPECT_EQ(temp_.close(file), kSuccess);
    return text;
  }

  support::TestDirectory parent_;
  support::TestDirectory unsent_;
  Log log_{{}};
  Messages messages_{log_};
  Text text_{"UTF-8"};
  TempMethod temp_{parent_.path(), unsent_.path(), messages_, text_};
  Name8 name_ = name8("T1");
  u_cei encoding_ = U_DEFAULT_CE;
};

TEST_F(TempMethodTest, AFileExistsOnlyFromItsWritingToItsReading) {
  ASSERT_EQ(temp_.assign(name_), kSuccess);
  const std::string path = *temp_.path_of(name_);
  EXPECT_FALSE(fs::exists(path)) << "assigning makes no file";
  HOST_FILE* file = nullptr;
  EXPECT_EQ(open(&file, kOpenInput), kTempFailure) << "nothing was fetched";
  ASSERT_EQ(open(&file, kOpenOutput), kSuccess);
  char record[] = "abc";
  EXPECT_EQ(file->routines->amfpwrite(file->filepointer, record, 3, ' '), kSuccess);
  EXPECT_EQ(temp_.close(file), kSuccess);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(temp_.directory()).permissions(), fs::perms(0700));
  EXPECT_EQ(open(&file, kOpenOutput), kTempFailure) << "an existing file is not written over";
  EXPECT_EQ(read_all(), "abc|");
  EXPECT_FALSE(fs::exists(path)) << "what was read is gone";
  fs::create_symlink("/etc/passwd", path);
  EXPECT_EQ(open(&file, kOpenInput), kTempFailure) << "never through a link";
  EXPECT_EQ(temp_.deassign(name_), kSuccess);
  EXPECT_EQ(temp_.deassign(name_), kNotAssigned);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(temp_.outstanding(), 0u);
}

TEST_F(TempMethodTest, AnAbandonedFileIsGone) {
  temp_.assign(name_);
  HOST_FILE* file = nullptr;
  ASSERT_EQ(open(&file, kOpenOutput), kSuccess);
  temp_.abandon(file);
  EXPECT_EQ(temp_.close(file), kSuccess);
  EXPECT_FALSE(fs::exists(*temp_.path_of(name_)));
}

TEST_F(TempMethodTest, ConvertsThroughTheFilter) {
  temp_.assign(name_);
  encoding_ = text_.encoding("UTF-16LE");
  support::write_file(*temp_.path_of(name_), std::string("a\0\n\0\xAC\x20", 6));
  EXPECT_EQ(read_all(), "a|\xE2\x82\xAC|");
  support::write_file(*temp_.path_of(name_), std::string("a\0\n\0\x00\xD8", 6));
  EXPECT_EQ(read_all(), "a|") << "what is no text ends in a failure";
  EXPECT_NE(messages_.describe(kTempFailure).find("UTF-16LE"), std::string::npos);
  HOST_FILE* file = nullptr;
  EXPECT_EQ(open(&file, kOpenOutput | kOpenEncoded, kRecfmFixed, 7), kTempFailure);
  EXPECT_NE(messages_.describe(kTempFailure).find("multiple of 2"), std::string::npos);
  encoding_ = text_.encoding("UTF-7-IMAP");
  EXPECT_EQ(open(&file, kOpenOutput | kOpenEncoded), kTempFailure) << "its line feed is no byte";
}

TEST_F(TempMethodTest, SweepsWhatDeadProcessesLeft) {
  const fs::path dead = parent_ / "fileref-tmp-dead";
  const fs::path living = parent_ / "fileref-tmp-living";
  const fs::path leased = parent_ / "fileref-tmp-leased";
  const fs::path somebodys = parent_ / "fileref-tmp-notes";
  for (const fs::path& path : {dead, living, leased, somebodys}) {
    fs::create_directory(path);
    support::write_file(path / "data", "x");
    if (path != somebodys) support::write_file(path / "in-use.lock", "");
  }
  const int lock = ::open((living / "in-use.lock").c_str(), O_RDWR);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  // Who opens this waits 45 seconds for its holder.
  signal(SIGIO, SIG_IGN);
  const int lease = ::open((leased / "in-use.lock").c_str(), O_RDONLY);
  ASSERT_EQ(fcntl(lease, F_SETLEASE, F_WRLCK), 0);
  const auto start = std::chrono::steady_clock::now();
  {
    const TempDirectory other(parent_.path());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_TRUE(fs::exists(living / "data"));
    EXPECT_TRUE(fs::exists(leased / "data"));
    EXPECT_TRUE(fs::exists(somebodys / "data")) << "a directory of ours has a lock file";
    EXPECT_TRUE(fs::exists(temp_.directory())) << "this one's own is in use";
    EXPECT_TRUE(other.found_unsent().empty());
  }
  close(lock);
  close(lease);
}

// What was written is data until it is known to have arrived; what was fetched never is.
TEST_F(TempMethodTest, KeepsTheUnsentDataOfDeadProcesses) {
  const auto die = [this](const std::string& unsent) {
    const pid_t pid = fork();
    if (pid != 0) return static_cast<void>(waitpid(pid, nullptr, 0));
    auto* dead = new TempMethod(parent_.path(), unsent, messages_, text_);
    dead->name_of_output = [] { return "dir/re port"; };
    for (const char* name : {"SENT", "UNSENT", "HALF"}) {
      WX_OPENPARM parms{};
      parms.openmode = kOpenOutput;
      parms.datalen = 80;
      HOST_FILE* file = nullptr;
      dead->assign(name8(name));
      dead->open(&file, name8(name), parms);
      char record[] = "precious";
      file->routines->amfpwrite(file->filepointer, record, 8, ' ');
      if (std::string(name) != "HALF") dead->close(file);
      if (std::string(name) == "SENT") dead->deassign(name8(name));
    }
    support::write_file(dead->directory() + "/fetched.part", "x");
    _exit(0);
  };
  // Into a directory that is nobody else's whatever the umask, or, where none can be made, nowhere.
  for (const std::string& unsent : {(unsent_ / "a/b").string(), std::string("/proc/none")}) {
    die(unsent);
    const mode_t mask = umask(0);
    std::vector<std::string> kept;
    {
      const TempDirectory other(parent_.path(), unsent);
      kept = other.found_unsent();
    }
    umask(mask);
    ASSERT_EQ(kept.size(), 1u);
    const fs::path place = kept.front();
    EXPECT_EQ(support::read_file(place), "precious\n");
    EXPECT_NE(place.filename().string().find("re_port."), std::string::npos) << place;
    EXPECT_EQ(fs::status(place).permissions(), fs::perms(0600));
    const bool moved = unsent != "/proc/none";
    EXPECT_EQ(place.parent_path() == unsent, moved);
    for (fs::path made = place.parent_path(); moved && made != unsent_.path();
         made = made.parent_path()) {
      EXPECT_EQ(fs::status(made).permissions(), fs::perms(0700)) << made;
    }
    const auto left = fs::directory_iterator(place.parent_path());
    EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "nothing else stays there";
    EXPECT_TRUE(TempDirectory(parent_.path(), unsent).found_unsent().empty()) << "told once";
    EXPECT_TRUE(fs::exists(place));
  }
}

}  // namespace
}  // namespace fileref::runtime
