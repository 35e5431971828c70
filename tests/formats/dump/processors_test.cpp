#include "formats/dump/processors.h"

#include <gtest/gtest.h>

#include <functional>

#include "open_dump.h"

namespace varnel::formats {
namespace {

namespace machine = support::made_machine;
using support::PagedDumpBytes;

OpenedDump Open(const std::function<void(PagedDumpBytes*)>& change) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, true);
  change(&dump);
  return OpenBytes(dump.AsBitmap(6));
}

TEST(Processors, TellWhichOneCrashedByItsSavedStackPointer) {
  const OpenedDump opened = Open([](PagedDumpBytes*) {});
  EXPECT_EQ(opened.dump->CrashingProcessor(), 1u);
  EXPECT_EQ(opened.dump->Cr8(), 3u);
  EXPECT_EQ(opened.dump->CurrentThread(), machine::kThread);
  EXPECT_EQ(opened.dump->CurrentProcess(), machine::kProcess);
  ASSERT_TRUE(opened.dump->KernelStack());
  EXPECT_EQ(opened.dump->KernelStack()->low, machine::kStackLimit);
  EXPECT_EQ(opened.dump->KernelStack()->high, machine::kStackBase);
}

TEST(Processors, HaveTheRegistersThatEachSaved) {
  const OpenedDump opened = Open([](PagedDumpBytes*) {});
  EXPECT_EQ(opened.dump->ContextOf(0)->Rip(), machine::kKernelBase + 0x9000);
  EXPECT_EQ(opened.dump->ContextOf(1)->Rip(), machine::kKernelBase + 0x1234);  // the header's
  EXPECT_EQ(opened.dump->ContextOf(2)->Rip(), machine::kKernelBase + 0x9002);
  EXPECT_FALSE(opened.dump->ContextOf(3));
}

TEST(Processors, HaveBlocksAsManyAsTheHeaderSays) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) { dump->header().Put<std::uint32_t>(0x34, 4); });
  EXPECT_EQ(opened.dump->ProcessorBlocks(),
            (std::vector<std::uint64_t>{machine::kFirstPrcb, machine::kFirstPrcb + 0x10000,
                                        machine::kFirstPrcb + 0x20000, 0}));
}

TEST(Processors, AreNoMoreThanAnySystemTakes) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) { dump->header().Put<std::uint32_t>(0x34, 0xFFFFFFFF); });
  EXPECT_EQ(opened.dump->ProcessorBlocks().size(), Processors::kMaxProcessors);
  EXPECT_EQ(opened.dump->CrashingProcessor(), 1u);
}

TEST(Processors, TellNothingWhereNoneSavedTheHeadersStackPointer) {
  const OpenedDump opened =
      Open([](PagedDumpBytes* dump) { dump->header().Put<std::uint64_t>(0x348 + 0x98, machine::kRsp + 8); });
  EXPECT_FALSE(opened.dump->CrashingProcessor());
  EXPECT_FALSE(opened.dump->Cr8());
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->KernelStack());
}

TEST(Processors, AreOneThatCrashedWhereThereIsOne) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) {
    dump->header().Put<std::uint32_t>(0x34, 1);
    dump->header().Put<std::uint64_t>(0x348 + 0x98, machine::kRsp + 8);
  });
  EXPECT_EQ(opened.dump->CrashingProcessor(), 0u);
  EXPECT_EQ(opened.dump->Cr8(), 2u);
}

TEST(Processors, AreUnknownWithoutTheDebuggersBlock) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) { dump->header().Put<std::uint64_t>(0x80, 0); });
  EXPECT_FALSE(opened.dump->CrashingProcessor());
  EXPECT_EQ(opened.dump->ProcessorBlocks(), std::vector<std::uint64_t>(3));
  EXPECT_FALSE(opened.dump->ContextOf(0));
}

TEST(Processors, TakeAPlaceOf0ForOneThatIsNotTold) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  for (const std::size_t field : {0x2A0u, 0x2B4u}) dump.Put<std::uint16_t>(machine::kDebuggerData + field, 0);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  EXPECT_EQ(opened.dump->CrashingProcessor(), 1u);
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->CurrentProcess());
}

TEST(Processors, GiveNoStackWhoseLimitsAreTurnedRound) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) {
    dump->Put<std::uint64_t>(machine::kThread + support::made_layout::kThreadStackBase, machine::kStackLimit);
  });
  EXPECT_FALSE(opened.dump->KernelStack());
}

}  // namespace
}  // namespace varnel::formats
