// What the two sides of the boundary agree on.
#include <gtest/gtest.h>

#include <cstdarg>

#include "host/codes.h"
#include "host/messages.h"
#include "host/services.h"
#include "runtime/memory.h"
#include "runtime/messages.h"
#include "tests/support/process.h"

namespace fileref::runtime {
namespace {

// The numbering is what modules are built against: a change must be meant, and shows here.
TEST(Boundary, ServicesKeepTheirPlacesAndSignatures) {
  std::string rows;
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) \
  rows += #VECTOR "/" #SLOT " " #RESULT " " #NAME #PARAMETERS "\n";
#include "host/services.def"
#undef SERVICE
  EXPECT_EQ(rows, support::read_file(FILEREF_SOURCE_DIRECTORY "/tests/runtime/services.txt"));
}

std::string formatted(int number, ...) {
  va_list arguments;
  va_start(arguments, number);
  std::string text = Messages::format(kMessageGroup, number, arguments);
  va_end(arguments);
  return text;
}

TEST(Messages, NameTheThingAndFit) {
  EXPECT_NE(formatted(message::ByteCountTooLarge::number, 200L, 80L).find("200 bytes"),
            std::string::npos);
  EXPECT_NE(formatted(message::RemoteNameFailed::number, "a.csv").find("\"a.csv\""),
            std::string::npos);
  EXPECT_EQ(formatted(message::ClientText::number, "ls -a\n"), "ls -a");
  const char* none = nullptr;
  EXPECT_NE(formatted(message::RemoteNameFailed::number, none).find("(no name)"),
            std::string::npos);
  EXPECT_NE(formatted(9999).find("566/9999"), std::string::npos);
  for (int extra = 0; extra < 3; ++extra) {
    std::string name(254 - static_cast<std::size_t>(extra), 'x');
    for (int i = 0; i < 10; ++i) name += "\xE2\x82\xAC";
    const std::string text = formatted(message::ClientText::number, name.c_str());
    EXPECT_LE(text.size(), 255u);
    EXPECT_TRUE(text.ends_with('x') || text.ends_with("\xE2\x82\xAC")) << "a character was cut";
  }
}

TEST(Memory, CountsZeroesAndFailsOnDemand) {
  Memory memory;
  CountedPool& heap = memory.heap();
  auto* block = static_cast<char*>(heap.alloc(&heap, 100, kHeapZeroed));
  EXPECT_EQ(std::string(block, 100), std::string(100, '\0'));
  POOL* names = memory.create_private_pool();
  names->alloc(names, 10, kNameNode);
  EXPECT_EQ(memory.outstanding(), 2);
  EXPECT_EQ(heap.bytes(), 100);
  EXPECT_TRUE(memory.delete_private_pool(names));
  EXPECT_FALSE(memory.delete_private_pool(names));
  memory.allocation_faults().arm(2);
  ptr first = memory.request_pool().alloc(&memory.request_pool(), 1, kRequestZeroed);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(heap.alloc(&heap, 1, kHeapZeroed), nullptr);
  EXPECT_TRUE(memory.allocation_faults().fired());
  EXPECT_DEATH(heap.free(&heap, first, 0, kRelease), "") << "given back to another pool";
  memory.request_pool().free(&memory.request_pool(), first, 0, kRelease);
  heap.free(&heap, block, 0, kRelease);
  EXPECT_EQ(memory.outstanding(), 0);
}

}  // namespace
}  // namespace fileref::runtime
