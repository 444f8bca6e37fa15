#include "runtime/temp/temp_method.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

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
  Log log_{{}};
  Messages messages_{log_};
  Text text_{"UTF-8"};
  TempMethod temp_{parent_.path(), messages_, text_};
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
  const fs::path somebodys = parent_ / "fileref-tmp-notes";
  for (const fs::path& path : {dead, living, somebodys}) {
    fs::create_directory(path);
    support::write_file(path / "data", "x");
    if (path != somebodys) support::write_file(path / "in-use.lock", "");
  }
  const int lock = ::open((living / "in-use.lock").c_str(), O_RDWR);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  {
    const TempDirectory other(parent_.path());
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_TRUE(fs::exists(living / "data"));
    EXPECT_TRUE(fs::exists(somebodys / "data")) << "a directory of ours has a lock file";
    EXPECT_TRUE(fs::exists(temp_.directory())) << "this one's own is in use";
  }
  close(lock);
}

}  // namespace
}  // namespace fileref::runtime
