// The process object as hosts other than the library's get it.
#include "tests/support/process.h"

#include <gtest/gtest.h>

#include "fileref/launch.h"
#include "host/codes.h"
#include "host/toolkit.h"

namespace fileref {
namespace {

class Launched : public testing::Test {
 protected:
  ~Launched() override {
    if (process_ != nullptr) process_->generic.destroy(&process_->generic);
    EXPECT_TRUE(support::left_behind().empty());
  }

  bool start(const std::string& command_line) {
    LaunchRequest request;
    request.command_line = command_line;
    request.secrets = {"hunter2"};
    request.trouble = [this](const std::string& explanation, const std::string& words) {
      if (throws_) throw std::runtime_error("told too much");
      trouble_ += explanation + words + "|";
    };
    request.keep_unsent = [](const std::string& local) { return local + "'s place"; };
    process_ = launch(std::move(request), &why_);
    return process_ != nullptr;
  }
  // What a command is answered, or the code of its failure.
  std::string ask(std::string command) {
    command += '\n';
    if (process_->sendinput(process_, command.data(), command.size(), nullptr) != 0)
      return "unsent";
    return answer();
  }
  std::string answer() {
    char text[1024];
    TKMemSize length = 99;
    const TKStatus rc = process_->getoutput(process_, 1, text, sizeof text, &length, nullptr);
    return rc == kSuccess ? std::string(text, length) : std::to_string(static_cast<unsigned>(rc));
  }

  support::TestDirectory directory_;
  LSProcessp process_ = nullptr;
  bool throws_ = false;
  std::string why_, trouble_;
};

const std::string kFailure = std::to_string(static_cast<unsigned>(kProcessFailed));

TEST_F(Launched, AnswersInWordsThatTheModuleKnowsAndTellsTheReason) {
  ASSERT_TRUE(start("sftp -D /usr/lib/openssh/sftp-server ")) << why_;
  EXPECT_EQ(answer(), "sftp> ");
  const std::string local = directory_ / "hunter2", name = escape_name(local);
  EXPECT_EQ(unescape_name(name), local);
  EXPECT_EQ(ask("get \"" + name + "\" \"" + local + "\""),
            "unable to open: no such file or directory\nsftp> ");
  EXPECT_NE(trouble_.find("/********\": no such file or directory|"), std::string::npos)
      << trouble_;
  support::write_file(local, "data");
  EXPECT_EQ(ask("put \"" + local + "\" \"" + directory_.path().string() + "\""), kFailure);
  EXPECT_NE(trouble_.find("'s place|"), std::string::npos) << trouble_;
  throws_ = true;
  EXPECT_EQ(ask("get \"none\" \"" + local + "\""), kFailure);
  int status = 0;
  EXPECT_EQ(process_->getrc(process_, &status, nullptr), kNoAnswerInTime);
  EXPECT_EQ(process_->suspend(process_, nullptr), kNotSupported);
  EXPECT_EQ(process_->kill(process_, nullptr), kSuccess);
}

TEST_F(Launched, NothingIsStartedWithoutAHostAndNoSecretIsTold) {
  EXPECT_FALSE(start("sftp  'hunter2 b'"));
  EXPECT_EQ(why_.find("\"******** b\" is no host: "), 0u) << why_;
}

}  // namespace
}  // namespace fileref
