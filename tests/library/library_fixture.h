// A host, a directory with the remote files, and what must be left of them: nothing.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fileref/fileref.h"
#include "tests/support/process.h"

namespace fileref {

// Lines of `step` bytes up to `bytes`, and behind them one of `length`.
inline std::string lines(std::size_t bytes, std::size_t step, std::size_t length) {
  std::string text;
  for (; text.size() + step < bytes; text += '\n') text.append(step, 'a');
  if (text.size() < bytes) text += std::string(bytes - text.size() - 1, 'b') + "\n";
  return text + std::string(length, 'c') + "\n";
}

class Library : public testing::Test {
 protected:
  HostOptions options() {
    HostOptions options;
    options.temp_directory = directory_ / "temporary";
    options.unsent_directory = directory_ / "unsent";
    options.log = [this](std::string_view line) { log_ += std::string(line) + "\n"; };
    return options;
  }
  void SetUp() override {
    support::fs::create_directory(directory_ / "temporary");
    host_ = std::make_unique<Host>(options());
  }
  void TearDown() override {
    host_.reset();
    EXPECT_TRUE(support::fs::is_empty(directory_ / "temporary"));
    EXPECT_TRUE(support::left_behind().empty());
  }

  Target target(const std::string& name) const {
    return Target::parse("local:" + (directory_ / name).string());
  }
  void put(const std::string& name, const std::string& text) const {
    support::write_file(directory_ / name, text);
  }
  std::string get(const std::string& name) const { return support::read_file(directory_ / name); }
  std::string read(const std::string& fileref, const std::vector<std::string>& with = {}) {
    std::string text;
    for (const std::string_view record : host_->open(fileref, with)) {
      text += std::string(record) + "|";
    }
    return text;
  }
  // The failure of a call, or code 0.
  template <class Call>
  static Failure failure(Call call) {
    try {
      call();
    } catch (const Failure& failure) {
      return failure;
    }
    return {0, "nothing failed"};
  }

  support::TestDirectory directory_;
  std::string log_;
  std::unique_ptr<Host> host_;
};

}  // namespace fileref
