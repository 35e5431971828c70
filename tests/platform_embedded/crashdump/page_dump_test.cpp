#include <gtest/gtest.h>

#include "platform/embedded/crashdump/bytes.h"
#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

TEST(PageDump, KindsAreWhatThePlatformCallsThem) {
  using formats::DumpQualifier;
  EXPECT_EQ(DumpedMachine(SomeCrash(), {CrashDumpForm::kKernel, true, true}).dump->Qualifier(), DumpQualifier::kKernel);
  EXPECT_EQ(DumpedMachine(SomeCrash(), {CrashDumpForm::kComplete, true, true}).dump->Qualifier(), DumpQualifier::kFull);
  EXPECT_EQ(DumpedMachine(SomeCrash(), {CrashDumpForm::kCompleteRuns, true, true}).dump->Qualifier(),
            DumpQualifier::kFull);
  CrashedMachineOptions filtered = SomeCrash();
  filtered.attributes = 0x40;
  EXPECT_EQ(DumpedMachine(filtered, {CrashDumpForm::kComplete, true, true}).dump->Qualifier(), DumpQualifier::kActive);
}

TEST(PageDump, AKernelDumpLeavesTheProcessesOwnPagesOut) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kKernel, true, true});
  for (const auto& [number, page] : made.machine.memory.pages()) {
    std::vector<std::byte> read(4096);
    const bool there = made.dump->ReadPhysical(number * 4096, read) == 4096;
    EXPECT_EQ(there, page->owner == PhysicalMemory::Owner::kKernel) << number;
    if (!there) continue;
    EXPECT_TRUE(std::equal(read.begin(), read.end(), page->bytes.begin())) << number;
  }
}

TEST(PageDump, ACompleteDumpHasEachPageOfTheMachineAndNoOther) {
  for (const CrashDumpForm form : {CrashDumpForm::kComplete, CrashDumpForm::kCompleteRuns}) {
    const DumpedMachine made(SomeCrash(), {form, true, true});
    for (const auto& [number, page] : made.machine.memory.pages()) {
      std::vector<std::byte> read(4096);
      ASSERT_EQ(made.dump->ReadPhysical(number * 4096, read), 4096u) << number;
      EXPECT_TRUE(std::equal(read.begin(), read.end(), page->bytes.begin())) << number;
    }
    std::vector<std::byte> one(1);
    EXPECT_EQ(made.dump->ReadPhysical(0x9EFFF, one), 1u) << "the last byte before the hole";
    EXPECT_EQ(made.dump->ReadPhysical(0x9F000, one), 0u) << "the hole";
    EXPECT_EQ(made.dump->ReadPhysical(0x100000, one), 1u) << "behind the hole";
    EXPECT_EQ(made.dump->ReadPhysical(made.machine.memory.end() * 4096 - 1, one), 1u) << "the last byte of all";
    EXPECT_EQ(made.dump->ReadPhysical(made.machine.memory.end() * 4096, one), 0u) << "beyond";
  }
}

TEST(PageDump, TheBitmapCountsWhatItMarks) {
  for (const CrashDumpForm form : {CrashDumpForm::kKernel, CrashDumpForm::kComplete}) {
    const DumpedMachine made(SomeCrash(), {form, true, false});
    const auto bits = Load<std::uint64_t>(made.bytes, 0x2030);
    std::uint64_t set = 0;
    for (std::size_t i = 0; i < bits; ++i) set += Load<std::uint8_t>(made.bytes, 0x2038 + i / 8) >> (i % 8) & 1;
    EXPECT_EQ(set, Load<std::uint64_t>(made.bytes, 0x2028));
    EXPECT_EQ(Load<std::uint64_t>(made.bytes, 0x2020) + 4096 * set, made.bytes.size());
  }
}

}  // namespace
}  // namespace varnel::embedded
