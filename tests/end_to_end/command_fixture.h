// The command as people run it, against the file server program and against an SSH server.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "tests/support/process.h"
#include "tests/support/ssh_server.h"

namespace fileref {

using support::fs::path;

inline std::string random_bytes(std::size_t count, unsigned seed) {
  std::mt19937_64 random(seed);
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

class CommandTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { server_ = std::make_unique<support::SshServer>(); }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    for (const char* name : {"remote", "temporary", "state"}) {
      support::fs::create_directory(directory_ / name);
    }
  }

  void TearDown() override {
    EXPECT_TRUE(support::fs::is_empty(directory_ / "temporary"));
    const auto left = support::left_behind({server_->pid()});
    EXPECT_TRUE(left.empty()) << "process " << left.front() << " is still there";
  }

  support::Program::Environment environment() const {
    return {{"TMPDIR", temporary_}, {"XDG_STATE_HOME", directory_ / "state"}};
  }
  static std::string command() { return FILEREF_BUILD_DIRECTORY "/fileref"; }

  support::Outcome fileref(std::vector<std::string> words, const std::string& input = "") const {
    words.insert(words.begin(), command());
    return support::run(std::move(words), input, environment());
  }
  support::Program start(std::vector<std::string> words, const std::string& input = "") const {
    words.insert(words.begin(), command());
    return {std::move(words), input, environment()};
  }

  // A file for the file server program, and its target.
  path remote(const std::string& name) const { return directory_ / "remote" / name; }
  std::string local(const std::string& name) const { return "local:" + remote(name).string(); }

  support::TestDirectory directory_;
  std::string temporary_ = directory_ / "temporary";
  static std::unique_ptr<support::SshServer> server_;
};

}  // namespace fileref
