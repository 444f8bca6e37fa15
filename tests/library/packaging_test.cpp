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
  const std::string sum = directory_ / "sum", host = build + "/host/host";
  const std::string server = "OPTIONS=-D /usr/lib/openssh/sftp-server";
  put("numbers", "1\n20\n300\n");
  std::vector<std::vector<std::string>> steps = {
      {"cmake", "--install", FILEREF_BUILD_DIRECTORY, "--prefix", prefix}};
  for (const std::string example : {"sum", "host"}) {
    steps.push_back({"cmake", "-G", "Ninja", "-S", FILEREF_SOURCE_DIRECTORY "/examples/" + example,
                     "-B", build + "/" + example, "-DCMAKE_PREFIX_PATH=" + prefix});
    steps.push_back({"cmake", "--build", build + "/" + example});
  }
  steps.push_back(
      {build + "/sum/sum", "local:" + (directory_ / "numbers").string(), "local:" + sum});
  steps.push_back({prefix + "/bin/fileref", "read", "local:" + sum});
  steps.push_back({host, "write", sum, server});
  steps.push_back({host, "read", sum, server});
  support::Outcome outcome;
  for (const auto& step : steps) {
    outcome = support::run(step, outcome.out, {{"TMPDIR", directory_ / "temporary"}});
    ASSERT_EQ(outcome.status, 0) << testing::PrintToString(step) << outcome.err << outcome.out;
  }
  EXPECT_EQ(outcome.out, "321\n");
  for (const char* file :
       {"man/man1/fileref.1", "man/man3/fileref.3", "doc/fileref/docs/options.md",
        "bash-completion/completions/fileref", "zsh/vendor-completions/_fileref",
        "fish/vendor_completions.d/fileref.fish"}) {
    EXPECT_TRUE(support::fs::exists(prefix + "/share/" + file)) << file;
  }
  outcome = support::run({host, "read", sum + "mit", server});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("summit\": no such file or directory"), outcome.err.npos)
      << outcome.err;
  outcome = support::run({host, "write", prefix, server}, "unsent\n");
  EXPECT_EQ(outcome.status, 1);
  const std::size_t place = outcome.err.find("the data is kept in /tmp/host-");
  ASSERT_NE(place, outcome.err.npos) << outcome.err;
  const support::fs::path kept =
      outcome.err.substr(place + 20, sizeof "/tmp/host-XXXXXX/unsent" - 1);
  EXPECT_EQ(support::read_file(kept), "unsent\n");
  support::fs::remove_all(kept.parent_path());
  outcome = support::run({build + "/sum/sum", "foo", "bar"});
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
