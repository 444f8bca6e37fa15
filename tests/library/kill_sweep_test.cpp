// Kills the client, or its server, at every single line or request that is sent.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "fileref/fileref.h"
#include "runtime/fd.h"
#include "tests/support/process.h"

namespace fileref {
namespace {

struct Strike {
  const char* client;
  const char* victim;
  const char* moment;
};

// Too long for one request.
std::string long_lines() {
  std::string lines;
  for (char letter = 'a'; letter <= 'z'; ++letter) lines += std::string(25'000, letter) + '\n';
  return lines;
}

class KillSweep : public testing::TestWithParam<Strike> {
 protected:
  void SetUp() override {
    for (const char* name : {"temporary", "remote", "remote/sub"}) {
      support::fs::create_directory(directory_ / name);
    }
    setenv("KILL_COUNT", count_.c_str(), 1);
    setenv("KILL_VICTIM", GetParam().victim, 1);
    setenv("KILL_MOMENT", GetParam().moment, 1);
  }

  // Everything that was read, in order.
  std::string run(int kill_line) {
    setenv("KILL_LINE", std::to_string(kill_line).c_str(), 1);
    support::write_file(count_, "0");
    support::fs::remove(directory_ / "remote/out");
    support::write_file(directory_ / "in", "new\n");
    for (const auto& [name, text] : files_) support::write_file(directory_ / "remote" / name, text);
    HostOptions options;
    options.temp_directory = directory_ / "temporary";
    options.unsent_directory = directory_ / "unsent";
    options.client = GetParam().client;
    began_again_ = false;
    options.log = [this](std::string_view line) {
      began_again_ = began_again_ || line.find("starting it again") != line.npos;
    };
    Host host(options);
    const Target target = Target::parse("local:" + (directory_ / "remote").string() + "/");
    const std::string client =
        options.client == "openssh"
            ? option("PATH", FILEREF_BUILD_DIRECTORY "/killed_client")
            : option("OPTIONS", "-D \"" FILEREF_BUILD_DIRECTORY "/faulty_server strike\"");
    std::string seen;
    host.assign("NAMES", target, {client, "LS"});
    for (const std::string_view name : host.open("NAMES")) seen += std::string(name) + ",";
    host.assign("FILES", target, {client, "DIR"});
    Directory directory = host.open_directory("FILES", {.kinds = true});
    for (const auto& [name, text] : files_) {
      for (const std::string_view record : directory.open(name)) seen += std::string(record) + "|";
    }
    Output output = directory.create("out");
    const runtime::Fd in(open((directory_ / "in").c_str(), O_RDONLY | O_CLOEXEC));
    if (!output.write_file(in.get())) output.write("new");
    output.close();
    for (const Member& member : directory) {
      seen += member.name + (member.kind == Member::Kind::kDirectory ? "/" : ".");
    }
    return seen;
  }

  // With a sanitizer, where every process takes long to start, the sweeps of a client share the
  // lines.
#ifdef FILEREF_SANITIZED
  static constexpr int kStep = 6;
#else
  static constexpr int kStep = 1;
#endif
  static int first_line() {
    const std::string_view moment = GetParam().moment;
    const int of_moment = moment == "before" ? 1 : moment == "after" ? 2 : 3;
    return kStep == 1 ? 1 : of_moment + (GetParam().victim == std::string_view("client") ? 0 : 3);
  }
  int lines_sent() const {
    return std::atoi(support::read_file(count_).c_str());
  }

  const std::vector<std::pair<std::string, std::string>> files_{
      {"a", "1\n2\n"}, {"b", long_lines()}, {"c", ""}};
  support::TestDirectory directory_;
  const std::string count_ = directory_ / "count";
  bool began_again_ = false;
};

// Until a session is up, its loss is a failure. From then on everything recovers.
TEST_P(KillSweep, EveryLineOfASession) {
  const std::string whole = run(0);
  const int lines = lines_sent();
  std::string long_records = files_[1].second;
  std::replace(long_records.begin(), long_records.end(), '\n', '|');
  ASSERT_TRUE(whole == "a,b,c,sub,1|2|" + long_records + "a.b.c.out.sub/");
  int recovered = 0, struck = 0;
  for (int line = first_line(); line <= lines; line += kStep) {
    SCOPED_TRACE("line " + std::to_string(line) + " of " + std::to_string(lines));
    try {
      EXPECT_TRUE(run(line) == whole);
      EXPECT_EQ(support::read_file(directory_ / "remote/out"), "new\n");
      recovered += began_again_ ? 1 : 0;
    } catch (const Failure& failure) {
      EXPECT_NE(failure.explanation().find("ended"), std::string::npos) << failure.what();
      EXPECT_TRUE(failure.message().starts_with("No session could be started")) << failure.what();
    }
    // How many requests are under way at a time depends on how fast the answers come.
    struck += lines_sent() >= line ? 1 : 0;
    EXPECT_TRUE(support::fs::is_empty(directory_ / "temporary"));
    EXPECT_FALSE(support::fs::exists(directory_ / "unsent"));
    EXPECT_TRUE(support::left_behind().empty());
  }
  EXPECT_GT(recovered, struck / 3) << "what was asked for beyond an end is not missed";
}

std::vector<Strike> strikes() {
  std::vector<Strike> all;
  for (const char* client : {"openssh", "direct"}) {
    for (const char* victim : {"client", "server"}) {
      for (const char* moment : {"before", "after", "answered"}) {
        all.push_back({client, victim, moment});
      }
    }
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Of, KillSweep, testing::ValuesIn(strikes()), [](const auto& strike) {
  return std::string(strike.param.client) + "_" + strike.param.victim + "_" + strike.param.moment;
});

}  // namespace
}  // namespace fileref
