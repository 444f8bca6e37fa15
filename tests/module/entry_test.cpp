// The way in: descriptor, method entry, method table.
#include <cstring>

#include "sup/src/yxsftp/entries.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

template <std::size_t Size>
std::string raw(const char (&field)[Size]) {
  return {field, Size};
}

TEST(Entry, DescriptorLeadsToTheProgram) {
  ModuleHost host;
  const VIMODCON* module = mcn_main(host.runtime.anchor(), nullptr);
  EXPECT_EQ(raw(module->tag), std::string("QEN_Image_Information=\0\0", 24));
  EXPECT_EQ(module->modconmagic, 0xB0BDEBEDu);
  EXPECT_EQ(raw(module->releasenum), std::string("001\0", 4));
  ASSERT_EQ(module->pgmcons[0], &pcn_QENXBAMS);
  EXPECT_EQ(module->pgmcons[1], nullptr);
  EXPECT_EQ(raw(pcn_QENXBAMS.name), "qenxbams");
  EXPECT_EQ(pcn_QENXBAMS.ep, &qenxbams);
  EXPECT_EQ(raw(SUPLIB_OPTIONS[0].option), "COMPRESS");
}

TEST(Entry, NeedsExternalCommandsAndMemory) {
  const struct {
    bool xcmd;
    int failing_service;
    int failing_allocation;
    rctype rc;
    const char* attached;
  } cases[] = {
      {false, 0, 0, kFailed,
       "The SFTP access method is not allowed because the NOXCMD option is in effect"},
      {true, 1, 0, kFailed, "ERROR: Unable to retrieve the value of the XCMD option"},
      {true, 0, 1, kNoMemory, ""},
      {true, 0, 2, kNoMemory, ""},
  };
  for (const auto& c : cases) {
    ModuleHost host;
    const long before = host.runtime.memory.outstanding();
    AMMCB untouched{};
    AMMCB* block = &untouched;
    rctype rc = kSuccess;
    host.runtime.host_options.external_commands = c.xcmd;
    host.runtime.service_faults.arm(c.failing_service);
    host.runtime.memory.allocation_faults().arm(c.failing_allocation);
    qenxbams(&block, &rc);
    EXPECT_EQ(rc, c.rc);
    EXPECT_EQ(host.attached(), c.attached);
    EXPECT_EQ(block, c.rc == kNoMemory ? nullptr : &untouched);
    EXPECT_EQ(host.runtime.memory.outstanding(), before);
  }
}

TEST(Entry, TableAnswersInEverySlot) {
  ModuleHost host;
  EXPECT_EQ(raw(host.method->tag), "AMEC");
  EXPECT_EQ(raw(host.method->method), "QENXBAMS");
  AMENT_SLOT<AmUnsupportedFn> slots[46];
  std::memcpy(slots, host.method->ament, sizeof slots);
  std::string kinds;
  for (const auto& slot : slots) {
    kinds += slot.entryp == nullptr ? "-" : slot.entryp == &yxsnsup ? "n" : "+";
    EXPECT_EQ(slot.flags, 0);
  }
  EXPECT_EQ(kinds, "++++nnn+++++nnnnnn++n++++++++++nnnn++n--------");
  EXPECT_EQ(host.table().amflush.entryp(1, nullptr), kNotSupported);
  char name[] = "ANYNAME ";
  EXPECT_EQ(host.table().amvalid.entryp(name), kSuccess);
  EXPECT_EQ(yxsok(), kSuccess);
}

}  // namespace
}  // namespace fileref
