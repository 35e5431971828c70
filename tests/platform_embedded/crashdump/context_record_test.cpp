#include "platform/embedded/crashdump/context_record.h"

#include <gtest/gtest.h>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

TEST(ContextRecord, HoldsEachRegisterAtItsPlace) {
  CrashRegisters registers;
  for (std::size_t i = 0; i < 16; ++i) registers.general[i] = 0x1000 + i;
  registers.rip = 0x2000;
  const auto context = ContextRecord(registers);
  ASSERT_EQ(context.size(), 1232u);
  EXPECT_EQ(Load<std::uint64_t>(context, 0x78), 0x1000u) << "rax";
  EXPECT_EQ(Load<std::uint64_t>(context, 0x98), 0x1004u) << "rsp";
  EXPECT_EQ(Load<std::uint64_t>(context, 0xA0), 0x1005u) << "rbp";
  EXPECT_EQ(Load<std::uint64_t>(context, 0xF0), 0x100Fu) << "r15";
  EXPECT_EQ(Load<std::uint64_t>(context, 0xF8), 0x2000u) << "rip";
}

TEST(ContextRecord, TellsTheFloatingPointStateTwiceAndTheSame) {
  const auto context = ContextRecord({});
  EXPECT_EQ(Load<std::uint32_t>(context, 0x34), Load<std::uint32_t>(context, 0x118));
}

}  // namespace
}  // namespace varnel::embedded
