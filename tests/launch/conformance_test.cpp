// Outcomes: for each command and each way it can go, what the module reads and what the user is
// told, with every client.
#include "tests/launch/conformance.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "runtime/name_escape.h"
#include "tests/support/hostile_names.h"

namespace fileref::runtime {
namespace {

using support::fs::exists;

const std::string kFailed = "failure\nsftp> ";

struct Row {
  std::string command, answer;
  std::string told = {};  // for a failure, a part of it
};

TEST_P(Conformance, EveryOutcomeIsReadAsWhatItIs) {
  const mode_t before = umask(0);
  for (const char* name : {"sub", "closed", "x-only", "bare"}) {
    support::fs::create_directory(remote_ / name);
  }
  for (const char* name : {"file", "secret", "closed/file", "x-only/file", "sub/file"}) {
    write_file(remote_ / name, "data");
  }
  write_file(remote_ / "secret", "older data");
  write_file(remote_ / "empty", "");
  support::fs::create_symlink("file", remote_ / "link");
  support::fs::create_symlink("sub", remote_ / "sub-link");
  support::fs::create_symlink("nowhere/x", remote_ / "dangling");
  ASSERT_EQ(mkfifo((remote_ / "fifo").c_str(), 0666), 0);
  support::fs::create_symlink("fifo", remote_ / "fifo-link");
  support::fs::permissions(remote_ / "secret", support::fs::perms(0));
  support::fs::permissions(remote_ / "closed", support::fs::perms(0));
  support::fs::permissions(remote_ / "x-only", support::fs::perms(0711));
  write_file(local_, "data");
  umask(before);
  connect(kAnotherUser + server());
  const std::string missing = "no such file", not_permitted = "permission denied",
                    irregular = "not a regular file";
  const Row rows[] = {
      {"cd \"sub\"", kPrompt},
      {"cd \"sub-link\"", kPrompt},
      {"cd \"$R\"", kPrompt},
      {"cd \".\"", kPrompt},
      {"cd \"nope\"", kNotThere, missing},
      {"cd \"no/pe\"", kNotThere, missing},
      {"cd \"file\"", kNotThere, "directory"},
      {"cd \"closed/in\"", kNotThere, not_permitted},
      {"cd \"\"", kNotThere, "the directory name is empty"},
      {"mkdir \"new\"", kPrompt},
      {"mkdir \"sub\"", kFailed, "failure"},
      {"mkdir \"file\"", kFailed, "failure"},
      {"mkdir \"no/pe\"", kFailed, missing},
      {"mkdir \"closed/in\"", kFailed, not_permitted},
      {"mkdir \"\"", kFailed, "the directory name is empty"},
      {"get \"file\" \"$L\"", kPrompt},
      {"get \"$R/file\" \"$L\"", kPrompt},
      {"get \"link\" \"$L\"", kPrompt},
      {"get \"x-only/file\" \"$L\"", kPrompt},
      {"get \"nope\" \"$L\"", kRefused, ""},
      {"get \"no/pe\" \"$L\"", kRefused, ""},
      {"get \"dangling\" \"$L\"", kRefused, ""},
      {"get \"secret\" \"$L\"", kRefused, not_permitted},
      {"get \"closed/file\" \"$L\"", kRefused, ""},
      {"get \"sub\" \"$L\"", kRefused, irregular},
      {"get \"bare\" \"$L\"", kRefused, irregular},
      {"get \"sub-link\" \"$L\"", kRefused, irregular},
      {"get \"fifo\" \"$L\"", kRefused, irregular},
      {"get \"fifo-link\" \"$L\"", kRefused, irregular},
      {"get \"file/\" \"$L\"", kRefused, irregular},
      {"get \"\" \"$L\"", kRefused, "the remote name is empty"},
      {"get \"file\" \"$L.none/x\"", "failed", missing},
      {"get \"file\" \"$L.directory\"", "failed", "is a directory"},
      {"get \"file\" \"/dev/null/x\"", "failed", "not a directory"},
      {"put \"$L\" \"uploaded\"", kPrompt},
      {"put \"$L\" \"uploaded\"", kPrompt},
      {"put \"$L\" \"file\"", kPrompt},
      {"put \"$L\" \"sub/file\"", kPrompt},
      {"put \"$L\" \"link\"", kPrompt},
      {"put \"$L\" \"x-only/file\"", kPrompt},
      {"put \"$L\" \"x-only/new\"", "failed", not_permitted},
      {"put \"$L\" \"secret\"", "failed", not_permitted},
      {"put \"$L\" \"dangling\"", "failed", missing},
      {"put \"$L\" \"no/such\"", "failed", missing},
      {"put \"$L\" \"sub\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"bare\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"sub-link\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"sub/\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \".\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"..\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"/\"", "failed", "the remote name is a directory"},
      {"put \"$L\" \"\"", "failed", "the remote name is empty"},
      {"put \"$L\" \"fifo\"", "failed", "no regular file"},
      {"put \"$L\" \"fifo-link\"", "failed", "no regular file"},
      {"put \"$L\" \"/dev/null\"", "failed", "no regular file"},
      {"put \"$L.none\" \"x\"", "not sent", "there is no local file"},
      {"put \"$R\" \"x\"", "not sent", "there is no local file"},
      {"rm \"file\"", "not sent", "no command"},
      {"cd \"x\n!touch hacked\"", "not sent", "line feed"},
      {"cd \"" + std::string(20000, 'x') + "\"", "not sent", "too long"},
  };
  support::fs::create_directory(local_ + ".directory");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.command.substr(0, 100));
    const std::string command = filled_in(row.command);
    kept_.clear();
    EXPECT_EQ(ask(command), row.answer) << told();
    const bool failed_upload = row.command.starts_with("put \"$L\"") && row.answer == "failed";
    EXPECT_EQ(kept_, failed_upload ? local_ : "");
    EXPECT_FALSE(tells(" arrived") || tells("incomplete")) << "no byte was sent" << told();
    EXPECT_EQ(told().empty(), row.answer == kPrompt) << told();
    EXPECT_TRUE(tells(row.told)) << told() << "lacks: " << row.told;
    EXPECT_EQ(read_file(local_), "data");
    EXPECT_FALSE(exists(local_ + ".part"));
    ASSERT_EQ(ask("cd \"" + remote_.string() + "\""), kPrompt);
  }
  EXPECT_TRUE(exists(remote_ / "new"));
  EXPECT_EQ(read_file(remote_ / "uploaded"), "data");
  EXPECT_FALSE(exists(remote_ / "hacked") || exists(remote_ / "sub/local"));
  EXPECT_EQ(get("empty"), kPrompt);
  EXPECT_EQ(read_file(local_), "");
  EXPECT_EQ(put("emptied"), kPrompt);
  EXPECT_TRUE(exists(remote_ / "emptied"));
}

// Where the session began, its names would stand for other files.
TEST_P(Conformance, NothingIsDoneBesideTheDirectoryToEnterFirst) {
  write_file(local_, "data");
  ASSERT_TRUE(launch(client_for(server()), adapter())) << why_;
  ASSERT_EQ(answer(), kPrompt) << client_->words();
  const std::string wanted = remote_ / "new";
  EXPECT_EQ(ask("cd \"" + wanted + '"'), kNotThere);
  for (const char* command : {"get \"/etc/passwd\" \"$L\"", "put \"$L\" \"file\"", "ls ", "ls *"}) {
    EXPECT_EQ(ask(filled_in(command)), "not sent") << command;
    EXPECT_TRUE(tells("the directory that it was to enter first")) << told();
  }
  EXPECT_EQ(kept_, local_);
  EXPECT_EQ(ask("mkdir \"" + wanted + '"'), kPrompt);
  EXPECT_EQ(ask("cd \"" + wanted + '"'), kPrompt);
  EXPECT_EQ(put("file"), kPrompt);
  EXPECT_EQ(ask("cd \"nope\""), kNotThere);
  EXPECT_EQ(get("file"), kPrompt);
}
// For the files that this process writes.
struct FileSizeLimit {
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    handler = signal(SIGXFSZ, SIG_IGN);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
  }
  rlimit before{};
  sighandler_t handler;
};

TEST_P(Conformance, AFullLocalDiskLeavesTheOldFile) {
  write_file(remote_ / "file", std::string(1 << 20, 'x'));
  write_file(local_, "old");
  connect(server(), is_direct() ? "" : "prlimit --fsize=65536 env --ignore-signal=XFSZ ");
  const std::unique_ptr<FileSizeLimit> ours(is_direct() ? new FileSizeLimit(65536) : nullptr);
  EXPECT_EQ(get("file"), "failed");
  EXPECT_TRUE(tells("broke off: ")) << told();
  EXPECT_EQ(read_file(local_), "old");
  EXPECT_FALSE(exists(local_ + ".part"));
  write_file(remote_ / "file", "fits");
  EXPECT_EQ(get("file"), kPrompt);
}

TEST_P(Conformance, NamesArriveAsTheyAre) {
  connect(server());
  std::string every_byte;
  for (int c = 1; c < 256; ++c) {
    if (c != '\n' && c != '\r' && c != '/') every_byte += static_cast<char>(c);
  }
  std::vector<std::string> names = split(
      "plain/--/-/\\/a\\/\\\\\\/q\"u\"o\\\"te/*/?/[/]/a*b?c[d]/\\*/\\?x\\[/{/}/\\{a,b\\}/}{/#/@x/"
      "~root/^/[^/[]/%d/`id`/a;b/a|b&c/FAILURE/\t/x y 7 Nov 22 21:25 z",
      '/');
  for (const std::string& name : hostile_names()) names.push_back(name);
  names.push_back(every_byte.substr(0, 127));
  names.push_back(every_byte.substr(127));
  for (const std::string& name : names) {
    const std::string content = "content of " + name, sent = escape_name(name);
    write_file(local_, content);
    if (is_psftp() && name.find('\r') != name.npos) {
      EXPECT_EQ(put(sent) + get(sent) + ask("cd \"" + sent + '"'), "not sentnot sentnot sent");
      EXPECT_TRUE(tells("a carriage return")) << told();
      continue;
    }
    ASSERT_EQ(put(sent), kPrompt) << name << told();
    ASSERT_EQ(read_file(remote_ / name), content) << name;
    write_file(local_, "");
    ASSERT_EQ(get(sent), kPrompt) << name << told();
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

INSTANTIATE_TEST_SUITE_P(, Conformance, kWays, Conformance::name);
INSTANTIATE_TEST_SUITE_P(Elsewhere, Conformance, kAnotherWay, Conformance::name);

}  // namespace
}  // namespace fileref::runtime
