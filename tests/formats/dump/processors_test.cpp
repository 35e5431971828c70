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

// The lowest page is mapped and holds what a structure would, so that whoever goes by a null pointer is found out.
void PutNullPage(PagedDumpBytes* dump) {
  support::GrowingBytes page(0x1000);
  for (std::size_t at = 0; at < 0x1000; at += 8) page.Put<std::uint64_t>(at, machine::kFirstPrcb + 0x10000 + 0x2100);
  dump->Write(0, page.bytes());
}

TEST(Processors, HaveNoBlockAtANullPointer) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) {
    PutNullPage(dump);
    dump->Put<std::uint64_t>(machine::kProcessorBlocks + 8, 0);
  });
  EXPECT_FALSE(opened.dump->CrashingProcessor());
  EXPECT_EQ(opened.dump->ProcessorBlocks()[1], 0u);
}

TEST(Processors, HaveNoBlocksWhereTheArrayIsNull) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  PutNullPage(&dump);
  dump.Put<std::uint64_t>(machine::kDebuggerData + 0x218, 0);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  EXPECT_EQ(opened.dump->ProcessorBlocks(), std::vector<std::uint64_t>(3));
}

TEST(Processors, HaveNoSavedRegistersAtANullPointer) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) {
    PutNullPage(dump);
    dump->Put<std::uint64_t>(machine::kFirstPrcb + support::made_layout::kPrcbContext, 0);
  });
  EXPECT_FALSE(opened.dump->ContextOf(0));
}

TEST(Processors, HaveNeitherRegistersNorLevelWhoseOffsetIsNotTold) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  for (const std::size_t field : {0x2F2u, 0x338u}) dump.Put<std::uint16_t>(machine::kDebuggerData + field, 0);
  dump.Put<std::uint64_t>(machine::kFirstPrcb, machine::kFirstPrcb + 0x2100);  // as if the registers were told there
  dump.header().Put<std::uint32_t>(0x34, 1);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  EXPECT_EQ(opened.dump->CrashingProcessor(), 0u);
  EXPECT_FALSE(opened.dump->Cr8());
  dump.header().Put<std::uint32_t>(0x34, 3);
  EXPECT_FALSE(OpenBytes(dump.AsBitmap(6)).dump->ContextOf(0));
}

TEST(Processors, TellNoneThatCrashedWithoutTheHeadersRegisters) {
  const OpenedDump opened =
      Open([](PagedDumpBytes* dump) { dump->header().Put<std::uint32_t>(0x348 + 0x30, 0x45474150); });
  EXPECT_FALSE(opened.dump->CrashingProcessor());
}

TEST(Processors, GiveNoStackWhoseLimitsAreNotTold) {
  for (const std::size_t field : {0x340u, 0x344u}) {
    PagedDumpBytes dump;
    support::MakeMachine(&dump, false);
    dump.Put<std::uint64_t>(machine::kThread, field == 0x340 ? 0 : ~std::uint64_t{0});
    dump.Put<std::uint32_t>(machine::kDebuggerData + field, 0);
    EXPECT_FALSE(OpenBytes(dump.AsBitmap(6)).dump->KernelStack()) << field;
  }
}

TEST(Processors, GiveNoStackWhoseLimitsAreTurnedRound) {
  const OpenedDump opened = Open([](PagedDumpBytes* dump) {
    dump->Put<std::uint64_t>(machine::kThread + support::made_layout::kThreadStackBase, machine::kStackLimit);
  });
  EXPECT_FALSE(opened.dump->KernelStack());
}

}  // namespace
}  // namespace varnel::formats
