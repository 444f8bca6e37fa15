// The operations of the OpenSSH adapter against replies made up here: no process is involved.
#include <gtest/gtest.h>

#include "runtime/launch/openssh_operations.h"
#include "tests/support/process.h"

namespace fileref::runtime::openssh {
namespace {

using namespace std::string_literals;

// One exchange: the lines that are expected, what the client answers, and how many bytes it leaves
// in the local file (kNone: it makes no such file).
struct Turn {
  std::string lines;
  std::string out, err = {};
  int local_bytes = -1;
};
constexpr int kNone = -1;

std::string listing(const std::string& name, int size) {
  return "-rw-r--r--    ? root     root  " + std::to_string(size) + " Nov 22 21:25 " + name + "\n";
}

class Operations : public testing::Test {
 protected:
  // Plays the turns and returns what the module gets: its text, or the code's name, and the
  // explanation.
  std::string play(std::unique_ptr<Operation> operation, const std::vector<Turn>& turns) {
    Step step = operation->begin();
    for (const Turn& turn : turns) {
      const Request* request = std::get_if<Request>(&step);
      if (!request) return "ended before " + turn.lines;
      std::string lines;
      for (const std::string& line : request->lines) lines += (lines.empty() ? "" : "; ") + line;
      EXPECT_EQ(lines, turn.lines);
      EXPECT_EQ(request->transfer, lines.starts_with("get") || lines.starts_with("put"));
      if (turn.local_bytes >= 0) {
        const std::size_t name = lines.rfind("\" \"") + 3;
        support::write_file(lines.substr(name, lines.size() - name - 1),
                            std::string(static_cast<std::size_t>(turn.local_bytes), 'x'));
      }
      step = operation->take({"sftp> " + turn.lines + "\n" + turn.out, turn.err});
    }
    const Answer* answer = std::get_if<Answer>(&step);
    if (!answer) return "asks for more: " + std::get<Request>(step).lines[0];
    std::string result = answer->status == kSuccess ? answer->text : "fails";
    EXPECT_TRUE(answer->status == kSuccess || answer->status == kProcessFailed);
    if (!answer->explanation.empty()) result += ": " + answer->explanation;
    return result;
  }

  std::unique_ptr<Operation> plan(const std::string& command) {
    std::string why;
    auto operation = adapter_.plan(command + "\n", &why);
    EXPECT_TRUE(operation) << why;
    return operation;
  }

  // The answer to `pwd`, as the second line of a request whose first was echoed before.
  static std::string at(const std::string& directory) {
    return "sftp> pwd\nRemote working directory: " + directory + "\n";
  }

  support::TestDirectory local_;
  const std::string target_ = local_ / "y", part_ = target_ + ".part";
  std::string kept_;
  OpensshAdapter adapter_{Session{[this](const std::string& file) {
    kept_ = file;
    return "/kept";
  }}};
};

TEST_F(Operations, ChangeOfDirectoryIsJudgedByWhereItLeads) {
  const std::string refused = "no such file or directory\nsftp> ";
  EXPECT_EQ(play(adapter_.start(), {{"", ""}, {"pwd", "Remote working directory: /home\n"}}),
            "sftp> ");
  const std::string noise = "no such file or directory: failure\r\n";
  struct Case {
    std::string name, now, err, result;
  };
  const Case cases[] = {
      {"/data", "/data", "", "sftp> "},        {"/home", "/home", noise, "sftp> "},
      {"nope", "/home", noise, refused},       {"/data", "/data", noise, "sftp> "},
      {"/data/", "/data", noise, "sftp> "},    {".", "/data", noise, "sftp> "},
      {"x", "/data", "Can't change", refused},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(
        play(plan("cd \"" + c.name + "\""), {{"cd " + quote(c.name) + "; pwd", at(c.now), c.err}}),
        c.result)
        << c.name;
  }
  EXPECT_EQ(play(plan("cd \"\""), {}), refused + ": the directory name is empty");
}

TEST_F(Operations, MakingADirectoryFailsByTheClientsOwnWordsOnly) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "sftp> "},
      {"Failure is not an option\r\n", "sftp> "},
      {"banner\r\nremote mkdir \"/d\": Permission denied\r\n", "failure\nsftp> "},
      {"realpath /x: No such file\r\n", "failure\nsftp> "},
      {"Couldn't create directory: Failure\r\n", "failure\nsftp> "},
  };
  for (const auto& [err, result] : cases) {
    EXPECT_EQ(play(plan("mkdir \"d\""), {{"mkdir \"d\"", "", err}}), result) << err;
  }
}

TEST_F(Operations, DownloadIsJudgedByTheBytesThatArrived) {
  const std::string broke_off = "fails: the download of \"f\" broke off: ";
  const std::string lost = "read remote \"/f\" : Failure\r\n";
  struct Case {
    int before;  // size listed before and after; kNone: nothing is listed
    int arrived;
    std::string err;
    int after;
    std::string result;
    bool asks_again = true;
  };
  const Case cases[] = {
      {6, 6, "", kNone, "sftp> ", false},
      {6, 6, "stray words\r\n", kNone, "sftp> ", false},
      {0, 0, "stray words\r\n", kNone, "sftp> ", false},
      {0, 6, "", kNone, "sftp> ", false},
      {kNone, 6, "", kNone, "sftp> ", false},
      {kNone, 6, "words", kNone,
       broke_off + "the server states no size to compare with, and the client complains", false},
      {6, 7, "", 8, "sftp> "},
      {6, 7, "noise", 7, "sftp> "},
      {6, 4, "", 6, broke_off + "4 of 6 bytes arrived"},
      {6, 4, "", kNone, broke_off + "4 of 6 bytes arrived"},
      {6, 6, lost, 6, broke_off + "6 of 6 bytes arrived", false},
      {6, 8, lost, 9, broke_off + "8 of 6 bytes arrived", false},
      {0, 0, lost, 0, broke_off + "0 of 0 bytes arrived", false},
      {6, 4, "", 4, broke_off + "it changed under way from 6 bytes to 4 bytes"},
      {6, 9, "", 8, broke_off + "it changed under way from 6 bytes to 8 bytes"},
  };
  for (const Case& c : cases) {
    support::write_file(target_, "old");
    support::write_file(part_, "left over");
    const auto look = [](int size) {
      return Turn{"ls -ln \"f\"", size < 0 ? "" : listing("f", size), size < 0 ? "not found" : ""};
    };
    std::vector<Turn> turns{look(c.before), {"get \"f\" \"" + part_ + "\"", "", c.err, c.arrived}};
    if (c.asks_again) turns.push_back(look(c.after));
    EXPECT_EQ(play(plan("get \"f\" \"" + target_ + "\""), turns), c.result);
    EXPECT_FALSE(support::fs::exists(part_)) << c.result;
    EXPECT_EQ(support::read_file(target_),
              c.result == "sftp> " ? std::string(static_cast<std::size_t>(c.arrived), 'x') : "old");
  }
}

TEST_F(Operations, DownloadThatNeverBeganIsRefused) {
  const std::string refused = "unable to open: no such file or directory\nsftp> ";
  const std::string get = "get \"f\" \"" + part_ + "\"";
  EXPECT_EQ(play(plan("get \"f\" \"" + target_ + "\""),
                 {{"ls -ln \"f\"", "", "not found"}, {get, "", "File \"/f\" not found.\r\n"}}),
            refused);
  EXPECT_EQ(play(plan("get \"f\" \"" + target_ + "\""), {{"ls -ln \"f\"", ""}, {get, ""}}),
            refused + ": \"f\" is not a regular file");
  EXPECT_EQ(play(plan("get \"\" \"" + target_ + "\""), {}), refused + ": the remote name is empty");
  const std::string nowhere = local_ / "no/y";
  EXPECT_EQ(play(plan("get \"f\" \"" + nowhere + "\""),
                 {{"ls -ln \"f\"", listing("f", 6)}, {"get \"f\" \"" + nowhere + ".part\"", ""}}),
            "fails: cannot create \"" + nowhere + ".part\": No such file or directory");
  support::fs::create_directory(part_);
  EXPECT_EQ(
      play(plan("get \"f\" \"" + target_ + "\""), {{"ls -ln \"f\"", listing("f", 6)}}),
      "fails: the download of \"f\" broke off: cannot remove \"" + part_ + "\": Is a directory");
}

TEST_F(Operations, UploadIsJudgedByTheBytesThatArrived) {
  const std::string put = "put \"" + target_ + "\" \"f\"";
  const std::string failed = "fails: the upload of \"f\" failed: ";
  const std::string kept = "; the data is kept in /kept";
  const std::string get = "get \"f\" \"" + target_ + ".sent\"";
  struct Case {
    std::string before, after, err, result;
    std::vector<int> read_back = {};  // the bytes that arrive, kNone: none do
  };
  const Case cases[] = {
      {"", listing("f", 3), "", "sftp> "},
      {listing("f", 9), listing("f", 3), "noise\r\n", "sftp> "},
      {listing("f", 3), listing("f", 3), "", "sftp> "},
      {listing("f", 3), listing("f", 3), "noise\r\n", "sftp> ", {3}},
      {listing("f", 3),
       listing("f", 3),
       "noise\r\n",
       failed + "the server may have kept an older file of that size" + kept,
       {kNone}},
      {listing("f", 3), listing("f", 3), "dest open \"/f\": Permission denied\r\n",
       failed + "the client reports a failure" + kept},
      {"", listing("f", 3), "write remote \"/f\": Failure\r\n",
       failed + "the client reports a failure" + kept},
      {"", listing("f", 2), "", failed + "2 of 3 bytes arrived" + kept},
      {"", "", "noise", failed + "the server shows no such file afterwards" + kept},
      {"", listing("f/f", 3), "", failed + "the server shows no such file afterwards" + kept},
  };
  for (const Case& c : cases) {
    support::write_file(target_, "xxx");
    kept_.clear();
    std::vector<Turn> turns{{"ls -ln \"f\"", c.before, c.before.empty() ? "not found" : ""},
                            {put, "", c.err},
                            {"ls -ln \"f\"", c.after, c.after.empty() ? "not found" : ""}};
    for (const int bytes : c.read_back) turns.push_back({get, "", "", bytes});
    EXPECT_EQ(play(plan(put), turns), c.result);
    EXPECT_EQ(kept_, c.result == "sftp> " ? "" : target_);
    EXPECT_FALSE(support::fs::exists(target_ + ".sent"));
  }
  EXPECT_EQ(play(plan(put), {{"ls -ln \"f\"", listing("f/g", 3)}}),
            failed + "the remote name is a directory" + kept);
  EXPECT_EQ(play(plan("put \"" + target_ + "\" \"\""), {}),
            "fails: the upload of \"\" failed: the remote name is empty" + kept);
}

TEST_F(Operations, RefusesWhatTheClientCannotReadAsOneCommand) {
  const std::string local = "\"" + target_ + "\"";
  support::write_file(target_, "abc");
  const std::string longest(2046 - 5, 'x');
  std::string why;
  EXPECT_TRUE(adapter_.plan("cd \"" + longest + "\"\n", &why));
  const std::string commands[] = {
      "cd \"" + longest + "x\"\n",
      "cd \"" + longest.substr(1) + "\\\"\n",
      "mkdir \"" + longest + "\"\n",
      "get \"" + longest + "\" " + local + "\n",
      "get \"" + std::string(1020, '{') + "\" " + local + "\n",
      "cd \"a\nb\"\n",
      "cd \"a\"\n!sh\n",
      "mkdir \"a\0b\"\n"s,
      "get \"a\0b\" "s + local + "\n",
      "put \"/no/such/file\" \"x\"\n",
      "rm \"x\"\n",
  };
  for (const std::string& command : commands) {
    why.clear();
    EXPECT_FALSE(adapter_.plan(command, &why)) << command;
    EXPECT_NE(why, "") << command;
  }
  EXPECT_EQ(kept_, "");
  EXPECT_FALSE(adapter_.plan("put " + local + " \"" + longest + "\"\n", &why));
  EXPECT_TRUE(why.ends_with("the data is kept in /kept")) << why;
  EXPECT_EQ(kept_, target_);
}

TEST_F(Operations, LostOnesLeaveNothingHalfDone) {
  support::write_file(target_, "abc");
  const Answer ended{kEndOfOutput, {}, "the client ended"};
  const auto begun = [&](const std::string& command) {
    auto operation = plan(command);
    operation->begin();
    return operation;
  };
  auto download = begun("get \"f\" \"" + target_ + "\"");
  support::write_file(part_, "par");
  EXPECT_EQ(download->lost(ended, "").explanation,
            "the download of \"f\" broke off: the client ended");
  EXPECT_FALSE(support::fs::exists(part_));
  const Answer lost = begun("put \"" + target_ + "\" \"f\"")->lost(ended, "");
  EXPECT_EQ(lost.status, kEndOfOutput);
  EXPECT_EQ(kept_, target_);
  const std::pair<std::string, bool> words[] = {
      {"ssh: Could not resolve hostname h: Name or service not known\n", true},
      {"banner\nssh_init: Name or service not known", true},
      {"ssh: Could not resolve hostname h: Temporary failure in name resolution\n", false},
      {"ssh: connect to host h port 1: Connection refused\n", false},
  };
  for (const auto& [text, unknown] : words) {
    EXPECT_EQ(adapter_.start()->lost(ended, text).text, unknown ? "host does not exist\n" : "");
  }
}

}  // namespace
}  // namespace fileref::runtime::openssh
