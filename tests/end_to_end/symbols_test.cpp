// The module needs nothing of an operating system, and shows nothing but its documented names.
#include <gtest/gtest.h>

#include <set>

#include "tests/support/process.h"

namespace fileref {
namespace {

// The names in the dynamic symbol table, without their versions.
std::set<std::string> symbols(const std::string& which) {
  const support::Outcome outcome = support::run(
      {"nm", "-D", which, "--format=just-symbols", FILEREF_BUILD_DIRECTORY "/qenxbams.so"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  std::set<std::string> names;
  std::istringstream lines(outcome.out);
  for (std::string name; std::getline(lines, name);) names.insert(name.substr(0, name.find('@')));
  return names;
}

TEST(Module, ExportsItsDocumentedNamesOnly) {
  const std::set<std::string> documented = {"SUPLIB_OPTIONS", "mcn_main", "mcn_pcns",
                                            "pcn_QENXBAMS",   "qenxbams", "tkvercn1",
                                            "vi_mcn",         "yxsok"};
  EXPECT_EQ(symbols("--defined-only"), documented);
}

TEST(Module, NeedsNothingOfAnOperatingSystem) {
#ifdef FILEREF_SANITIZED
  GTEST_SKIP() << "sanitizers need their own runtime";
#endif
  const std::set<std::string> allowed = {
      // Memory and string routines.
      "memchr", "memcmp", "memcpy", "memmove", "memset", "strlen",
      // What every shared object asks for weakly.
      "__cxa_finalize", "__gmon_start__", "_ITM_deregisterTMCloneTable",
      "_ITM_registerTMCloneTable"};
  for (const std::string& name : symbols("--undefined-only")) {
    EXPECT_TRUE(allowed.contains(name)) << name;
  }
}

}  // namespace
}  // namespace fileref
