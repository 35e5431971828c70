#include <gtest/gtest.h>

#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

class PlantedProcessorsTest : public EachForm {};

TEST_P(PlantedProcessorsTest, TheCrashingProcessorsRegistersAreFound) {
  for (const unsigned number : {0u, 1u}) {
    CrashedMachineOptions crash = SomeCrash();
    crash.crashing_processor = number;
    const DumpedMachine made(crash, Form());
    EXPECT_EQ(made.dump->CrashingProcessor(), number);
    const auto context = made.dump->ContextOf(number);
    ASSERT_TRUE(context.has_value());
    EXPECT_TRUE(std::equal(context->bytes.begin(), context->bytes.end(), made.machine.crashed().context_bytes.begin()));
    EXPECT_EQ(context->Rip(), made.machine.kernel.Export("KeBugCheckEx"));
    EXPECT_EQ(context->Get(formats::X64Register::kRcx), 0xD1u);
    EXPECT_EQ(context->Get(formats::X64Register::kR8), 2u);
    EXPECT_EQ(made.dump->Cr8(), made.machine.crashed().cr8);
  }
}

TEST_P(PlantedProcessorsTest, TheThreadAndItsProcessAreFound) {
  const DumpedMachine made(SomeCrash(), Form());
  EXPECT_EQ(made.dump->CurrentThread(), made.machine.crashed().thread);
  EXPECT_EQ(made.dump->CurrentProcess(), made.machine.crashed().process);
  const auto name = made.Read(made.machine.crashed().process + 0x5A8, 6);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(name.data()), name.size()), "System");
}

TEST_P(PlantedProcessorsTest, TheOtherProcessorsRegistersAreFoundWhereItsMemoryIs) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto context = made.dump->ContextOf(1);
  if (IsSmall()) {
    EXPECT_FALSE(context.has_value());
    return;
  }
  ASSERT_TRUE(context.has_value());
  EXPECT_EQ(context->Rip(), made.machine.kernel.Export("KeQueryInterruptTime"));
  EXPECT_EQ(context->Rsp(), made.machine.processors[1].stack.registers.general[4]);
}

TEST_P(PlantedProcessorsTest, TheProcessorBlocksAreFound) {
  if (IsSmall()) GTEST_SKIP() << "a small dump has a copy of one block, whose address it does not tell";
  const DumpedMachine made(SomeCrash(), Form());
  EXPECT_EQ(made.dump->ProcessorBlocks(),
            (std::vector<std::uint64_t>{made.machine.processors[0].block, made.machine.processors[1].block}));
}

TEST_P(PlantedProcessorsTest, TheStackIsThere) {
  const DumpedMachine made(SomeCrash(), Form());
  const CrashStack& stack = made.machine.stack();
  const std::uint64_t top = stack.registers.general[4];
  const auto read = made.Read(top, stack.high() - top);
  ASSERT_EQ(read.size(), stack.high() - top);
  EXPECT_TRUE(std::equal(read.begin(), read.end(), stack.bytes.begin() + static_cast<long>(top - stack.low)));
}

INSTANTIATE_TEST_SUITE_P(Forms, PlantedProcessorsTest, kFormsWithMemory, FormName);

}  // namespace
}  // namespace varnel::embedded
