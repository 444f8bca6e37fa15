// A program that forks while it has files open.
#include <functional>
#include <optional>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

// A process that is forked off leaves alone what belongs to the one that made it.
TEST_F(Library, AForkedProcessOnlyForgets) {
  put("in", lines(3'000'000, 70, 0));
  host_->assign("F", target("in"));
  host_->assign("O", target("out"));
  host_->assign("D", target(""), {"DIR"});
  std::optional<Input> input = host_->open("F");
  std::optional<Output> output = host_->create("O");
  std::optional<Directory> directory = host_->open_directory("D");
  std::string_view record;
  Member member;
  ASSERT_TRUE(input->next(record) && directory->next(member));
  output->write("x");
  const pid_t child = fork();
  if (child == 0) {
    const std::function<void()> calls[] = {
        [&] { input->next(record); },     [&] { input->copy_to(1); },
        [&] { input->close(); },          [&] { output->write("child"); },
        [&] { output->close(); },         [&] { output->abandon(); },
        [&] { directory->next(member); }, [&] { directory->close(); },
        [&] { host_->deassign("F"); },    [&] { (void)host_->open("F"); }};
    int worked = 0;
    for (const auto& call : calls) {
      try {
        call();
        ++worked;
      } catch (const UsageError&) {
      }
    }
    input.reset();
    output.reset();
    directory.reset();
    host_.reset();
    host_ = std::make_unique<Host>(options());
    host_->assign("O", target("mine"));
    host_->create("O").close();
    host_.reset();
    _exit(worked);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(support::fs::exists(directory_ / "mine")) << "a host of its own works";
  std::string seen = std::string(record) + "\n";
  while (input->next(record)) seen += std::string(record) + "\n";
  EXPECT_TRUE(seen == get("in"));
  output->close();
  EXPECT_EQ(get("out"), "x\n");
  EXPECT_TRUE(directory->has("in"));
  input.reset();
  output.reset();
  directory.reset();
  EXPECT_EQ(log_.find("starting it again"), std::string::npos) << "no session was lost";
}

}  // namespace
}  // namespace fileref
