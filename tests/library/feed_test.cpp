// Records that are read while their file comes.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

std::string numbered(const char* name, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += name + std::to_string(i) + std::string(50, '.') + "\n";
  return text;
}

class Feeds : public Library {
 protected:
  void SetUp() override {
    Library::SetUp();
    support::fs::create_directory(directory_ / "files");
    put("files/a", a_);
    put("files/b", b_);
    host_->assign("FILES", target("files/"), {"DIR"});
  }
  static bool take(Input& input, std::string* text) {
    std::string_view record;
    if (!input.next(record)) return false;
    *text += std::string(record) + "\n";
    return true;
  }
  pid_t client() const {
    for (const pid_t child : support::children_of(getpid())) {
      const std::string words = support::read_file("/proc/" + std::to_string(child) + "/cmdline");
      if (words.find("sftp-server") != words.npos) return child;
    }
    return 0;
  }

  const std::string a_ = numbered("a", 400'000), b_ = numbered("b", 400'000);  // more than waits
};

TEST_F(Feeds, SeveralOfOneSessionGoOnSideBySide) {
  Directory directory = host_->open_directory("FILES");
  Input a = directory.open("a");
  Input b = directory.open("b");
  std::string from_a, from_b;
  while (take(a, &from_a)) {
    take(b, &from_b);
    take(b, &from_b);
  }
  EXPECT_TRUE(from_a == a_);
  EXPECT_TRUE(from_b == b_);
  Input again = directory.open("a");
  std::string first;
  EXPECT_TRUE(take(again, &first));
  again.close();  // in the middle
  Input whole = directory.open("b");
  for (from_b.clear(); take(whole, &from_b);) {
  }
  EXPECT_TRUE(from_b == b_);
}

// Its client is killed in the middle, again and again.
TEST_F(Feeds, GoesOnWhereItStopped) {
  const struct {
    const char* what;
    std::string now;
    bool goes_on;
  } rows[] = {{"the same", a_, true}, {"another", b_, false}, {"a longer one", a_ + "+\n", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    put("files/a", a_);
    Directory directory = host_->open_directory("FILES");
    Input input = directory.open("a");
    std::string text;
    for (int i = 0; i < 1000; ++i) take(input, &text);
    if (!row.goes_on) put("files/a", row.now + "x\n");
    for (int kills = 0; kills < 2; ++kills) {
      ASSERT_NE(client(), 0);
      kill(client(), SIGKILL);
      if (!row.goes_on) break;
      for (int i = 0; i < 100'000; ++i) take(input, &text);
    }
    const Failure broken = failure([&] {
      while (take(input, &text)) {
      }
    });
    EXPECT_EQ(broken.code() == 0, row.goes_on) << broken.what();
    EXPECT_TRUE(row.goes_on ? text == a_ : a_.starts_with(text)) << text.size();
    if (!row.goes_on) {
      EXPECT_NE(broken.message().find("broke off at byte"), std::string::npos) << broken.what();
    }
  }
}

}  // namespace
}  // namespace fileref
