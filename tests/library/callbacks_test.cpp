// Functions of the program that throw.
#include <chrono>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

struct Stop {};

// What a function of the program throws comes out of the call under way, and the host goes on.
class Callbacks : public Library {
 protected:
  void SetUp() override {
    Library::SetUp();
    host_.reset();
    support::fs::create_directory(directory_ / "remote");
    put("remote/a", "1\n");
    put("remote/b", "2\n");
    put("remote/c", "3\n");
  }
  // Throws at the call that `left_` counts down to.
  void count() {
    if (left_ > 0 && --left_ == 0) throw Stop();
  }
  std::string work() {
    Target several = target("remote/");
    several.names = {"none", "a", "nobody", "b"};
    host_->assign("F", several);
    std::string seen = read("F");
    host_->assign("D", target("remote/"), {"DIR"});
    for (const Member& member : host_->open_directory("D")) seen += member.name;
    host_->assign("O", target("remote/c"));
    Output output = host_->create("O");
    output.write("2");
    output.close();
    host_->deassign("F");
    return seen;
  }
#ifdef FILEREF_SANITIZED
  static constexpr int kPart = 4;
#else
  static constexpr int kPart = 16;
#endif
  // The same with an exception out of one call of a function: of each early one, and of a part of
  // the others. Tells about how many calls there are.
  int sweep(const std::function<void(HostOptions&)>& set) {
    std::string whole;
    for (int n = 0;; n += 1 + n / kPart) {
      SCOPED_TRACE(n);
      HostOptions throwing = options();
      set(throwing);
      left_ = n;
      try {
        host_ = std::make_unique<Host>(throwing);
        const std::string seen = work();
        if (n == 0) whole = seen;
        EXPECT_EQ(seen, whole);
      } catch (const Stop&) {
        EXPECT_EQ(left_, 0);
      }
      const bool ended = std::exchange(left_, 0) > 0;
      EXPECT_EQ(host_ ? work() : whole, whole);
      host_.reset();
      EXPECT_TRUE(support::fs::is_empty(directory_ / "temporary"));
      if (ended) return n - 1;
    }
  }

  int left_ = 0;
};

TEST_F(Callbacks, ThatTellOfSomething) {
  EXPECT_GT(sweep([this](HostOptions& o) { o.log = [this](std::string_view) { count(); }; }), 10);
  EXPECT_EQ(sweep([this](HostOptions& o) { o.warn = [this](std::string_view) { count(); }; }), 2);
}

TEST_F(Callbacks, ThatAreAsked) {
  const auto set = [this](HostOptions& options) {
    options.interrupted = [this] {
      count();
      return false;
    };
  };
  EXPECT_GT(sweep(set), 20);
}

TEST_F(Callbacks, ThatAreToldUnderWay) {
  put("long", std::string(2'000'000, '\n'));
  HostOptions throwing = options();
  throwing.progress = [this](const Progress&) { count(); };
  host_ = std::make_unique<Host>(throwing);
  host_->assign("F", target("long"), {"OPTIONS='-l 4000'"});
  host_->assign("O", target("sent"), {"OPTIONS='-l 4000'"});
  left_ = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THROW((void)host_->open("F"), Stop);
  left_ = 2;
  Output output = host_->create("O");
  for (int i = 0; i < 2'000'000; i += 100) output.write(std::string(99, 'x'));
  EXPECT_THROW(output.close(), Stop);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "clients ended";
  const auto kept = support::fs::directory_iterator(directory_ / "unsent")->path();
  EXPECT_EQ(support::fs::file_size(kept), 2'000'000u);
  EXPECT_NE(log_.find(kept.string()), std::string::npos) << "where, the log says";
  put("batch", "pwd\npwd\n");
  host_->assign("B", Target::parse("local:"),
                {option("BATCHFILE", (directory_ / "batch").string())});
  left_ = 1;
  EXPECT_THROW(host_->run_batch("B", [this](std::string_view) { count(); }), Stop);
}

}  // namespace
}  // namespace fileref
