#include "formats/pe/call_site.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::ByteWriter;
using support::DumpedMemory;

// Bytes that are no call, then `code`; asks about the address behind it.
std::optional<bool> Behind(std::initializer_list<int> code) {
  ByteWriter out;
  out.Fill(16, 0x90);
  for (const int byte : code) out.U8(static_cast<std::uint8_t>(byte));
  const std::uint64_t end = 0x1000 + out.size();
  DumpedMemory memory;
  memory.Put(0x1000, out.Take());
  return FollowsCall(memory, end);
}

TEST(FollowsCall, KnowsANearCall) {
  EXPECT_EQ(Behind({0xE8, 1, 2, 3, 4}), true);
}

TEST(FollowsCall, KnowsCallsThroughRegistersAndMemory) {
  EXPECT_EQ(Behind({0xFF, 0xD0}), true) << "rax";
  EXPECT_EQ(Behind({0x41, 0xFF, 0xD3}), true) << "r11";
  EXPECT_EQ(Behind({0xFF, 0x10}), true) << "[rax]";
  EXPECT_EQ(Behind({0xFF, 0x14, 0x24}), true) << "[rsp]";
  EXPECT_EQ(Behind({0xFF, 0x50, 0x18}), true) << "[rax+8 bits]";
  EXPECT_EQ(Behind({0xFF, 0x54, 0x24, 0x20}), true) << "[rsp+8 bits]";
  EXPECT_EQ(Behind({0xFF, 0x15, 1, 2, 3, 4}), true) << "[rip+32 bits]";
  EXPECT_EQ(Behind({0xFF, 0x90, 1, 2, 3, 4}), true) << "[rax+32 bits]";
  EXPECT_EQ(Behind({0xFF, 0x94, 0xC8, 1, 2, 3, 4}), true) << "[rax+rcx*8+32 bits]";
  EXPECT_EQ(Behind({0xFF, 0x14, 0xC5, 1, 2, 3, 4}), true) << "[rax*8+32 bits]";
}

TEST(FollowsCall, KnowsThatOtherInstructionsAreNone) {
  EXPECT_EQ(Behind({0x90}), false);
  EXPECT_EQ(Behind({0xFF, 0xE0}), false) << "jmp rax";
  EXPECT_EQ(Behind({0xE9, 1, 2, 3, 4}), false) << "jmp";
  EXPECT_EQ(Behind({0xE8, 1, 2, 3, 4, 0x90}), false) << "one instruction behind a call";
  EXPECT_EQ(Behind({0xFF, 0x15, 1, 2, 3}), false) << "cut";
}

TEST(FollowsCall, SaysNothingWhereTheCodeIsNotInTheDump) {
  const DumpedMemory empty;
  EXPECT_EQ(FollowsCall(empty, 0x2000), std::nullopt);
  DumpedMemory memory;
  memory.Put(0x2000, ByteWriter().Text("\xFF\xD0\x90").Take());
  EXPECT_EQ(FollowsCall(memory, 0x2002), true) << "what is there suffices";
  EXPECT_EQ(FollowsCall(memory, 0x2003), std::nullopt) << "a longer call may begin in the page before";
}

}  // namespace
}  // namespace varnel::formats
