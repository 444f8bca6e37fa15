// A client with a scratch directory around it, and proof that it leaves nothing behind.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/launch/client.h"
#include "tests/support/process.h"

namespace fileref::runtime {

using std::chrono::milliseconds;
using support::read_file;
using support::write_file;

inline const std::string kServer = "/usr/lib/openssh/sftp-server";
inline const std::string kFaultyServer = FILEREF_BUILD_DIRECTORY "/faulty_server";
inline const std::string kPrompt = "sftp> ";
inline const std::string kNotThere = "no such file or directory\nsftp> ";
inline const std::string kRefused = "unable to open: no such file or directory\nsftp> ";

class ClientTest : public testing::Test {
 protected:
  ClientTest() { support::fs::create_directory(remote_); }
  ~ClientTest() override {
    const long pid = client_ ? client_->pid() : 0;
    client_.reset();
    EXPECT_EQ(descriptors(), descriptors_before_);
    EXPECT_TRUE(pid == 0 || kill(static_cast<pid_t>(pid), 0) != 0) << "the client was not reaped";
  }

  static std::vector<std::string> descriptors() {
    std::vector<std::string> open;
    for (const auto& entry : support::fs::directory_iterator("/proc/self/fd")) {
      open.push_back(entry.path().filename());
    }
    return open;
  }

  // False, with why_ set, when the client could not be launched.
  bool launch(const std::string& command_line, const std::string& adapter = "") {
    LaunchRequest request;
    request.command_line = command_line;
    request.adapter = adapter;
    request.limits = limits_;
    request.verify_uploads = verify_;
    request.atomic_uploads = atomic_;
    request.expected = expected_;
    request.trace = trace_;
    request.retries = retries_;
    request.may_ask = may_ask_;
    if (interrupts_) request.interrupted = interrupts_;
    request.journal = [this](std::string_view line) {
      journal_ += std::string(line) + "\n";
      if (heed_) heed_(line);
    };
    request.progress = [this](const Transfer& transfer, std::uint64_t bytes, bool ended) {
      progress_.push_back({transfer, bytes, ended});
    };
    request.keep_unsent = [this](const std::string& local) { return kept_ = local; };
    client_ = Client::launch(std::move(request), &why_);
    return client_ != nullptr;
  }

  // The real client on the given server, with the remote directory entered.
  void connect(const std::string& server) {
    ASSERT_TRUE(launch("sftp  -D \"" + server + "\" ", "openssh")) << why_;
    ASSERT_EQ(answer(), kPrompt) << client_->words();
    ASSERT_EQ(ask("cd \"" + remote_.string() + "\""), kPrompt);
  }

  // The next read: its text, or what its code is called.
  std::string answer(int mode = 1) {
    char buffer[8192];
    std::size_t length = 99;
    const TKStatus status = client_->read(mode, buffer, sizeof buffer, &length);
    if (status == kSuccess) return {buffer, length};
    EXPECT_EQ(length, 0u);
    return status == kEndOfOutput      ? "end of output"
           : status == kNoAnswerInTime ? "no answer in time"
           : status == kProcessFailed  ? "failed"
                                       : std::to_string(status);
  }

  std::string ask(const std::string& command) {
    return client_->send(command + "\n") == kSuccess ? answer() : "not sent";
  }

  std::string get(const std::string& name) { return ask("get \"" + name + "\" \"" + local_ + '"'); }
  std::string put(const std::string& name) { return ask("put \"" + local_ + "\" \"" + name + '"'); }

  const std::vector<std::string> descriptors_before_ = descriptors();
  support::TestDirectory directory_;
  const support::fs::path remote_ = directory_ / "remote";
  const std::string local_ = directory_ / "local";
  LaunchLimits limits_;
  bool verify_ = false, may_ask_ = false, atomic_ = false, trace_ = false;
  std::vector<std::string> expected_;
  int retries_ = 0;
  std::unique_ptr<Client> client_;
  std::string why_, journal_, kept_;
  std::function<bool()> interrupts_;
  std::function<void(std::string_view)> heed_;  // every line of the journal
  struct Told {
    Transfer transfer;
    std::uint64_t bytes;
    bool ended;
  };
  std::vector<Told> progress_;
};

}  // namespace fileref::runtime
