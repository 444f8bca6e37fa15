// What every client that we hold a dialogue with must do, on every way to a server.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>

#include "tests/launch/session.h"
#include "tests/support/ssh_server.h"

namespace fileref::runtime {

enum class Way {
  kSftpDirectly,
  kSftpOverSsh,
  kPsftpOverSsh,
  kDirectDirectly,
  kDirectOverSsh,
  kDirectToAnother,  // to a server program of other people
};
const auto kWays = testing::Values(Way::kSftpDirectly, Way::kSftpOverSsh, Way::kPsftpOverSsh,
                                   Way::kDirectDirectly, Way::kDirectOverSsh);
const auto kAnotherWay = testing::Values(Way::kDirectToAnother);
inline const std::string kAnotherServer = "/usr/libexec/gesftpserver";

// Before a server's command: it serves somebody who may not do everything.
const std::string kAnotherUser =
    geteuid() == 0 ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";

class Conformance : public ClientTest, public testing::WithParamInterface<Way> {
 public:
  static std::string name(const testing::TestParamInfo<Way>& info) {
    constexpr const char* kNames[] = {"SftpDirectly",   "SftpOverSsh",   "PsftpOverSsh",
                                      "DirectDirectly", "DirectOverSsh", "DirectToAnother"};
    return kNames[static_cast<int>(info.param)];
  }

 protected:
  static void SetUpTestSuite() {
    server_ = std::make_unique<support::SshServer>(support::SshServer::Serves::kCommand);
  }
  static void TearDownTestSuite() { server_.reset(); }

  Conformance() { support::fs::permissions(remote_, support::fs::perms::all); }
  void SetUp() override {
    const bool is_there = !is_another() || support::fs::exists(kAnotherServer);
    if (!is_there) GTEST_SKIP() << kAnotherServer << " is missing: install gesftpserver";
  }

  // The server program, which works as it should.
  static std::string server() { return is_another() ? kAnotherServer : kServer; }

  // The command line of the client for a server that is this command.
  std::string client_for(const std::string& command) const {
    if (is_without_ssh()) return "sftp -D \"" + command + "\" ";
    server_->serve(command);
    return is_psftp() ? server_->psftp() : server_->sftp();
  }
  static bool is_psftp() { return GetParam() == Way::kPsftpOverSsh; }
  static bool is_another() { return GetParam() == Way::kDirectToAnother; }
  static bool is_direct() { return GetParam() >= Way::kDirectDirectly; }
  static bool is_without_ssh() {
    return GetParam() == Way::kSftpDirectly || GetParam() == Way::kDirectDirectly || is_another();
  }
  static std::string adapter() { return is_psftp() ? "psftp" : is_direct() ? "direct" : "openssh"; }

  // The client on that server, with the remote directory entered. `wrapper` is put before it.
  void connect(const std::string& command, const std::string& wrapper = "") {
    ASSERT_TRUE(launch(wrapper + client_for(command), adapter())) << why_;
    ASSERT_EQ(answer(), kPrompt) << client_->words();
    ASSERT_EQ(ask("cd \"" + remote_.string() + "\""), kPrompt);
  }

  // The processes that serve the client.
  std::vector<pid_t> sessions() const {
    if (GetParam() == Way::kDirectDirectly) return {static_cast<pid_t>(client_->pid())};
    return support::descendants_of(is_without_ssh() ? static_cast<pid_t>(client_->pid())
                                                    : server_->pid());
  }

  // What the user is told, in small letters.
  std::string told() const {
    std::string text = client_->explanation() + '\n' + client_->words();
    if (text == "\n") return "";
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  }

  bool tells(const std::string& part) const { return told().find(part) != std::string::npos; }

  // Without `$R` and `$L`, which stand for the remote directory and the local file.
  std::string filled_in(std::string text) const {
    for (std::size_t at; (at = text.find("$R")) != text.npos;) text.replace(at, 2, remote_);
    for (std::size_t at; (at = text.find("$L")) != text.npos;) text.replace(at, 2, local_);
    return text;
  }

  static inline std::unique_ptr<support::SshServer> server_;
};

}  // namespace fileref::runtime
