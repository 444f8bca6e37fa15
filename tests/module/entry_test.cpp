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

TEST(Entry, DescriptorSaysWhatTheModuleIs) {
  ModuleHost host;
  const VIMODCON* module = mcn_main(host.runtime.anchor(), nullptr);
  EXPECT_EQ(module, &vi_mcn);
  EXPECT_EQ(raw(module->tag), std::string("QEN_Image_Information=\0\0", 24));
  EXPECT_EQ(module->modconmagic, 0xB0BDEBEDu);
  EXPECT_EQ(module->compat_flags, 8u);
  EXPECT_EQ(raw(module->releasenum), std::string("001\0", 4));
  ASSERT_EQ(module->pgmcons[0], &pcn_QENXBAMS);
  EXPECT_EQ(module->pgmcons[1], nullptr);
  const WIPGMCON& program = pcn_QENXBAMS;
  EXPECT_EQ(raw(program.name), "qenxbams");
  EXPECT_EQ((std::vector<long>{program.stacksize, program.isa, program.osa, program.flags,
                               program.imgtype, program.cntlc}),
            (std::vector<long>{-65536, 1024, 1024, 0, 2, 15}));
  EXPECT_EQ(raw(SUPLIB_OPTIONS[0].option), "COMPRESS");
  EXPECT_EQ(SUPLIB_OPTIONS[0].optlen, 8);
}

TEST(Entry, NeedsExternalCommandsAndMemory) {
  const char kNoXcmd[] =
      "The SFTP access method is not allowed because the NOXCMD option is in effect";
  const char kUnreadable[] = "ERROR: Unable to retrieve the value of the XCMD option";
  enum Obstacle { kOff, kCannotBeRead, kNoFirstBlock, kNoSecondBlock, kNone };
  const struct {
    Obstacle obstacle;
    rctype rc;
    const char* attached;
    bool touched;  // the caller's pointer
  } cases[] = {{kOff, kFailed, kNoXcmd, false},
               {kCannotBeRead, kFailed, kUnreadable, false},
               {kNoFirstBlock, kNoMemory, "", true},
               {kNoSecondBlock, kNoMemory, "", true},
               {kNone, kSuccess, "", true}};
  for (const auto& c : cases) {
    ModuleHost host;
    runtime::Runtime& runtime = host.runtime;
    const long before = runtime.memory.outstanding();
    AMMCB untouched{};
    AMMCB* block = &untouched;
    rctype rc = kSuccess;
    runtime.host_options.external_commands = c.obstacle != kOff;
    runtime.service_faults.arm(c.obstacle == kCannotBeRead ? 1 : 0);
    runtime.memory.allocation_faults().arm(c.obstacle == kNoFirstBlock    ? 1
                                           : c.obstacle == kNoSecondBlock ? 2
                                                                          : 0);
    qenxbams(&block, &rc);
    EXPECT_EQ(rc, c.rc) << c.obstacle;
    EXPECT_EQ(host.attached(), c.attached);
    EXPECT_EQ(block != &untouched, c.touched);
    EXPECT_EQ(runtime.memory.outstanding(), before + (c.obstacle == kNone ? 2 : 0));
    if (c.obstacle != kNone) {
      EXPECT_TRUE(!c.touched || block == nullptr);
      continue;
    }
    for (ptr made : {static_cast<ptr>(block->ament), static_cast<ptr>(block)}) {
      runtime.memory.heap().free(&runtime.memory.heap(), made, 0, kRelease);
    }
  }
}

TEST(Entry, TableAnswersInEverySlot) {
  ModuleHost host;
  EXPECT_EQ(raw(host.method->tag), "AMEC");
  EXPECT_EQ(raw(host.method->method), "QENXBAMS");
  EXPECT_EQ(host.method->data, nullptr);
  using Slot = AMENT_SLOT<AmUnsupportedFn>;
  Slot slots[46];
  std::memcpy(slots, host.method->ament, sizeof slots);
  std::string kinds;
  for (const Slot& slot : slots) {
    EXPECT_EQ(slot.flags, 0);
    const bool empty = slot.entryp == nullptr;
    kinds += empty ? "-" : slot.entryp == &yxsnsup ? "n" : "+";
  }
  EXPECT_EQ(kinds,
            "++++nnn+++++nnnnnn++n+++++++++"
            "+nnnn++n"
            "--------");
  EXPECT_EQ(host.table().amflush.entryp(1, nullptr), kNotSupported);
  EXPECT_EQ(host.attached(), "");
  char name[] = "ANYNAME ";
  EXPECT_EQ(host.table().amvalid.entryp(name), kSuccess);
  EXPECT_EQ(yxsok(), kSuccess);
}

}  // namespace
}  // namespace fileref
