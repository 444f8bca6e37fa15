// The library as other projects build against it.
#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

TEST_F(Library, InstalledItBuildsAndRunsAProgramOfItsOwn) {
#ifdef FILEREF_SANITIZED
  GTEST_SKIP() << "a program without sanitizers cannot load a library with them";
#endif
  const std::string prefix = directory_ / "prefix";
  const std::string build = directory_ / "build";
  put("numbers", "1\n20\n300\n");
  const std::vector<std::vector<std::string>> steps = {
      {"cmake", "--install", FILEREF_BUILD_DIRECTORY, "--prefix", prefix},
      {"cmake", "-G", "Ninja", "-S", FILEREF_SOURCE_DIRECTORY "/examples/sum", "-B", build,
       "-DCMAKE_PREFIX_PATH=" + prefix},
      {"cmake", "--build", build},
      {build + "/sum", "local:" + (directory_ / "numbers").string(),
       "local:" + (directory_ / "sum").string()},
      {prefix + "/bin/fileref", "read", "local:" + (directory_ / "sum").string()},
  };
  support::Outcome outcome;
  for (const auto& step : steps) {
    outcome = support::run(step, "", {{"TMPDIR", directory_ / "temporary"}});
    ASSERT_EQ(outcome.status, 0) << testing::PrintToString(step) << outcome.err << outcome.out;
  }
  EXPECT_EQ(outcome.out, "321\n");
  for (const char* file :
       {"man/man1/fileref.1", "man/man3/fileref.3", "doc/fileref/docs/options.md",
        "bash-completion/completions/fileref", "zsh/vendor-completions/_fileref",
        "fish/vendor_completions.d/fileref.fish"}) {
    EXPECT_TRUE(support::fs::exists(prefix + "/share/" + file)) << file;
  }
  outcome = support::run({build + "/sum", "foo", "bar"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.err.starts_with("\"foo\" is no target. ")) << outcome.err;
}

// With nothing of what only its command and its tests need, and whatever a compiler warns of.
TEST_F(Library, AsASubprojectItIsTheLibraryAlone) {
  put("fetch.cmake",
      "include(FetchContent)\nFetchContent_Declare(fileref SOURCE_DIR \"" FILEREF_SOURCE_DIRECTORY
      "\" OVERRIDE_FIND_PACKAGE)\n");
  const std::string build = directory_ / "build";
  std::vector<std::string> configure = {
      "cmake",
      "-G",
      "Ninja",
      "-S",
      FILEREF_SOURCE_DIRECTORY "/examples/sum",
      "-B",
      build,
      "-DCMAKE_PROJECT_TOP_LEVEL_INCLUDES=" + (directory_ / "fetch.cmake").string()};
  for (const std::string unused : {"CLI11", "nlohmann_json", "GTest", "benchmark"}) {
    configure.push_back("-DCMAKE_DISABLE_FIND_PACKAGE_" + unused + "=ON");
  }
  const std::string object = "CMakeFiles/sum.dir/sum.cpp.o";
  for (const auto& step : {configure, {"cmake", "--build", build, "--target", object}}) {
    const support::Outcome outcome = support::run(step);
    ASSERT_EQ(outcome.status, 0) << testing::PrintToString(step) << outcome.err << outcome.out;
  }
  const std::string commands = support::run({"ninja", "-C", build, "-t", "commands", "all"}).out;
  for (const char* part : {"/runtime/library/host.cpp", "/qenxbams.cpp", "-Wall", " -o sum "}) {
    EXPECT_NE(commands.find(part), commands.npos) << part;
  }
  for (const char* part : {"-Werror", "/cli/", "/tests/", "/bench/"}) {
    EXPECT_EQ(commands.find(part), commands.npos) << part;
  }
}

}  // namespace
}  // namespace fileref
