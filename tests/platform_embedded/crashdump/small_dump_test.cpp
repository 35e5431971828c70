#include <gtest/gtest.h>

#include "platform/embedded/crashdump/bytes.h"
#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

TEST(SmallDump, IsWhatThePlatformCallsSmall) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, true, true});
  EXPECT_EQ(made.dump->Qualifier(), formats::DumpQualifier::kSmall);
  EXPECT_EQ(made.dump->header().mini_dump_fields, 0xCFFu);
  ASSERT_NE(made.dump->triage(), nullptr);
  EXPECT_TRUE(made.dump->triage()->marked);
}

TEST(SmallDump, ItsStackBeginsWithTheNewestReturnAddressAndEndsAtTheBase) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, true, true});
  const CrashStack& stack = made.machine.stack();
  const auto range = made.dump->KernelStack();
  ASSERT_TRUE(range.has_value());
  EXPECT_EQ(range->low, stack.registers.general[4]);
  EXPECT_EQ(range->high, stack.high());
  EXPECT_EQ(Load<std::uint64_t>(made.Read(range->low, 8), 0), stack.frames[1].rip);
}

TEST(SmallDump, TheImageIsReadOverTheEndsOfItsPieces) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, true, true});
  const LoadedImage& kernel = made.machine.kernel;
  const auto read = made.Read(kernel.base(), kernel.bytes().size());
  ASSERT_EQ(read.size(), kernel.bytes().size());
  EXPECT_TRUE(std::equal(read.begin(), read.begin() + 0x2000, kernel.bytes().begin())) << "headers and code";
}

TEST(SmallDump, OnRequestOnlyTheFirstPageOfTheImageIsThere) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, false, true});
  const std::uint64_t base = made.machine.kernel.base();
  const std::uint64_t code = made.machine.stack().registers.rip / 4096 * 4096;
  EXPECT_EQ(made.Read(base, 4096).size(), 4096u);
  EXPECT_EQ(made.Read(code, 4096).size(), 4096u) << "the page of the stop is a part of its own";
  EXPECT_TRUE(made.Read(made.machine.kernel.exception_table(), 1).empty());
}

TEST(SmallDump, NamesOfUnloadedDriversAreCut) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, true, true});
  const auto& unloaded = made.dump->UnloadedModules();
  ASSERT_EQ(unloaded.size(), 3u);
  EXPECT_EQ(unloaded[1].name, u"dump_storage");
}

}  // namespace
}  // namespace varnel::embedded
