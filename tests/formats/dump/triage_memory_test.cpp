#include "formats/dump/triage_memory.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kStack = 0xFFFFC00000015100;
constexpr std::uint64_t kThread = 0xFFFFB00100002000;
constexpr std::uint64_t kProcess = 0xFFFFB00100004000;
constexpr std::uint64_t kPrcb = 0xFFFFF80013000000;
constexpr std::uint64_t kProcessorBlocks = 0xFFFFF80012700000;
constexpr std::uint64_t kDebuggerData = 0xFFFFF80012345B20;

std::vector<std::byte> Read(const KernelDump& dump, std::uint64_t address, std::size_t size) {
  std::vector<std::byte> out(size);
  out.resize(dump.ReadVirtual(address, out));
  return out;
}

/// A dump of processor 3 with its thread, its process and where its block was.
support::SmallDumpBytes Crashed() {
  namespace layout = support::made_layout;
  support::SmallDumpBytes dump;
  dump.file().Put<std::uint32_t>(0x34, 4);
  support::GrowingBytes data = support::MakeDebuggerData();
  data.Put<std::uint64_t>(0x218, kProcessorBlocks);
  dump.AddDebuggerData(kDebuggerData, data);
  support::GrowingBytes prcb(layout::kSizePrcb);
  prcb.Put<std::uint64_t>(layout::kPrcbCurrentThread, kThread);
  prcb.Put<std::uint32_t>(layout::kPrcbNumber, 3);
  prcb.Put<std::uint64_t>(layout::kPrcbSpecialRegisters + 0xA0, 13);
  dump.AddProcessorBlock(prcb);
  support::GrowingBytes thread(layout::kSizeThread);
  thread.Put<std::uint64_t>(layout::kThreadApcProcess, kProcess);
  dump.AddThread(thread);
  dump.AddProcess(support::GrowingBytes(layout::kSizeProcess));
  dump.AddStack(kStack, Pattern(0x700, 3));
  return dump;
}

TEST(TriageMemory, StitchesAReadAcrossBlocksThatAdjoinOrOverlap) {
  const std::vector<std::byte> all = Pattern(0x300, 1);
  support::SmallDumpBytes dump;
  dump.AddBlock(0x10200, std::span(all).subspan(0x200, 0x100));
  dump.AddBlock(0x10000, std::span(all).first(0x180));
  dump.AddBlock(0x10100, std::span(all).subspan(0x100, 0x100));
  const OpenedDump opened = OpenBytes(dump.Finish());
  EXPECT_EQ(Read(*opened.dump, 0x10000, 0x400), all);
  EXPECT_EQ(Read(*opened.dump, 0x10171, 3), std::vector(all.begin() + 0x171, all.begin() + 0x174));
}

TEST(TriageMemory, GivesThePartThatIsThereUpToTheFirstByteThatIsNot) {
  support::SmallDumpBytes dump;
  dump.AddBlock(0x10000, Pattern(1, 1));
  dump.AddBlock(0x10002, Pattern(8, 1));
  const OpenedDump opened = OpenBytes(dump.Finish());
  EXPECT_EQ(Read(*opened.dump, 0x10000, 8).size(), 1u);
  EXPECT_EQ(Read(*opened.dump, 0x10001, 8).size(), 0u);
  EXPECT_EQ(opened.dump->WhyMissing(0x10001), MissingReason::kNoMemory);
  EXPECT_EQ(opened.dump->WhyMissing(0x10002), MissingReason::kNone);
}

TEST(TriageMemory, HasTheStackAndGoesOnInABlockBehindIt) {
  support::SmallDumpBytes dump;
  dump.AddStack(kStack, Pattern(0x700, 3));
  dump.AddBlock(kStack + 0x700, Pattern(0x20, 9));
  const OpenedDump opened = OpenBytes(dump.Finish());
  auto expected = Pattern(0x700, 3);
  const auto behind = Pattern(0x20, 9);
  expected.insert(expected.end(), behind.begin(), behind.end());
  EXPECT_EQ(Read(*opened.dump, kStack, 0x1000), expected);
  EXPECT_EQ(opened.dump->KernelStack()->low, kStack);
  EXPECT_EQ(opened.dump->KernelStack()->high, kStack + 0x700);
}

TEST(TriageMemory, PrefersABlockToACopyOfTheSamePlace) {
  support::SmallDumpBytes dump;
  dump.AddStack(kStack, Pattern(0x700, 3));
  dump.AddBlock(kStack + 0x10, Pattern(0x10, 200));
  const OpenedDump opened = OpenBytes(dump.Finish());
  auto expected = Pattern(0x700, 3);
  const auto block = Pattern(0x10, 200);
  std::copy(block.begin(), block.end(), expected.begin() + 0x10);
  EXPECT_EQ(Read(*opened.dump, kStack, 0x700), expected);
}

TEST(TriageMemory, HasTheDataPage) {
  support::SmallDumpBytes dump;
  const auto page = Pattern(0x1000, 5);
  dump.Set(0x68, dump.AddPart(page));
  dump.Set(0x6C, 0x1000);
  dump.file().Put<std::uint64_t>(0x2060, 0xFFFFA00000001000);
  const OpenedDump opened = OpenBytes(dump.Finish());
  EXPECT_EQ(Read(*opened.dump, 0xFFFFA00000001000, 0x2000), page);
}

TEST(TriageMemory, KnowsThreadProcessProcessorAndItsLevel) {
  support::SmallDumpBytes bytes = Crashed();
  const OpenedDump opened = OpenBytes(bytes.Finish());
  EXPECT_EQ(opened.dump->CurrentThread(), kThread);
  EXPECT_EQ(opened.dump->CurrentProcess(), kProcess);
  EXPECT_EQ(opened.dump->CrashingProcessor(), 3u);
  EXPECT_EQ(opened.dump->Cr8(), 13u);
}

TEST(TriageMemory, HasTheCopiesOfStructuresWhereTheyWere) {
  support::SmallDumpBytes bytes = Crashed();
  std::uint64_t pointer = kPrcb;
  bytes.AddBlock(kProcessorBlocks + 24, std::as_bytes(std::span(&pointer, 1)));
  const OpenedDump opened = OpenBytes(bytes.Finish());
  const KernelDump& dump = *opened.dump;
  EXPECT_EQ(ReadMemory<std::uint64_t>(dump, kThread + support::made_layout::kThreadApcProcess), kProcess);
  EXPECT_EQ(Read(dump, kThread, 0x1000).size(), support::made_layout::kSizeThread);
  EXPECT_EQ(Read(dump, kProcess, 0x1000).size(), support::made_layout::kSizeProcess);
  EXPECT_EQ(ReadMemory<std::uint64_t>(dump, kPrcb + support::made_layout::kPrcbCurrentThread), kThread);
  EXPECT_EQ(Read(dump, kPrcb, 0x1000).size(), support::made_layout::kSizePrcb);
  EXPECT_EQ(Read(dump, kDebuggerData, 0x1000).size(), 0x3A0u);
  EXPECT_EQ(dump.ProcessorBlocks(), (std::vector<std::uint64_t>{0, 0, 0, kPrcb}));
}

TEST(TriageMemory, DoesNotKnowWhereTheProcessorsBlockWasWithoutTheArray) {
  support::SmallDumpBytes bytes = Crashed();
  const OpenedDump opened = OpenBytes(bytes.Finish());
  EXPECT_EQ(opened.dump->ProcessorBlocks(), std::vector<std::uint64_t>(4));
  EXPECT_TRUE(Read(*opened.dump, kPrcb, 8).empty());
}

TEST(TriageMemory, KnowsNeitherThreadNorLevelWithoutTheDebuggersBlock) {
  support::SmallDumpBytes bytes = Crashed();
  bytes.Set(0x70, 0);
  const OpenedDump opened = OpenBytes(bytes.Finish());
  EXPECT_FALSE(opened.dump->debugger_data());
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->CurrentProcess());
  EXPECT_FALSE(opened.dump->Cr8());
  EXPECT_FALSE(opened.dump->CrashingProcessor());
}

TEST(TriageMemory, LeavesOutPartsWithoutAnOffset) {
  support::SmallDumpBytes bytes = Crashed();
  for (const std::size_t field : {0x1Cu, 0x20u, 0x24u, 0x28u}) bytes.Set(field, 0);
  const OpenedDump opened = OpenBytes(bytes.Finish());
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->CurrentProcess());
  EXPECT_TRUE(Read(*opened.dump, kStack, 8).empty());
}

TEST(TriageMemory, TakesNoMoreBlocksThanTheFileHasRoomFor) {
  support::SmallDumpBytes bytes;
  bytes.AddBlock(0x10000, Pattern(16, 1));
  std::vector<std::byte> file = bytes.Finish();
  const std::uint32_t many = 0xFFFFFFFF;
  std::memcpy(file.data() + 0x207C, &many, sizeof(many));
  const OpenedDump opened = OpenBytes(file);
  EXPECT_EQ(Read(*opened.dump, 0x10000, 16), Pattern(16, 1));
  EXPECT_FALSE(opened.dump->Completeness().complete());
}

TEST(TriageMemory, DoesBoundedWorkForBlocksThatALargeFileHasRoomFor) {
  support::SmallDumpBytes bytes;
  bytes.AddBlock(0x10000, Pattern(16, 1));
  std::vector<std::byte> file = bytes.Finish();
  const std::uint32_t many = 0xFFFFFFFF;
  std::memcpy(file.data() + 0x207C, &many, sizeof(many));
  const auto source = std::make_shared<SparseSource>(file, std::uint64_t{1} << 36);
  const OpenedDump opened = KernelDump::Open(source);
  EXPECT_EQ(Read(*opened.dump, 0x10000, 16), Pattern(16, 1));
  EXPECT_EQ(opened.dump->Completeness().expected_size, 0x2090u + 16 * std::uint64_t{many});
  EXPECT_LE(source->reads, 600u);
  EXPECT_LE(source->bytes_read, 2 * 65'536u * 16 + 0x4000);
}

TEST(TriageMemory, TakesAPlaceOf0ForOneThatIsNotTold) {
  support::SmallDumpBytes bytes = Crashed();
  std::vector<std::byte> file = bytes.Finish();
  std::uint32_t data = 0;
  std::memcpy(&data, file.data() + 0x2070, sizeof(data));
  for (const std::size_t field : {0x2A0u, 0x2B4u, 0x2BEu, 0x2F2u}) std::memset(file.data() + data + field, 0, 2);
  const OpenedDump opened = OpenBytes(file);
  ASSERT_TRUE(opened.dump->debugger_data());
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->CurrentProcess());
  EXPECT_FALSE(opened.dump->Cr8());
  EXPECT_FALSE(opened.dump->CrashingProcessor());
}

TEST(TriageMemory, ReadsNothingBehindTheToldSizeOfACopy) {
  support::SmallDumpBytes bytes = Crashed();
  std::vector<std::byte> file = bytes.Finish();
  std::uint32_t data = 0;
  std::memcpy(&data, file.data() + 0x2070, sizeof(data));
  const std::uint16_t thread = support::made_layout::kThreadApcProcess + 7;
  const std::uint16_t prcb = support::made_layout::kPrcbSpecialRegisters + 0xA0 + 7;
  std::memcpy(file.data() + data + 0x2C0, &thread, sizeof(thread));
  std::memcpy(file.data() + data + 0x2B0, &prcb, sizeof(prcb));
  const OpenedDump opened = OpenBytes(file);
  EXPECT_FALSE(opened.dump->CurrentProcess());
  EXPECT_FALSE(opened.dump->Cr8());
  EXPECT_EQ(opened.dump->CurrentThread(), kThread);
}

TEST(TriageMemory, ReadsUpToTheToldSizeOfACopy) {
  support::SmallDumpBytes bytes = Crashed();
  std::vector<std::byte> file = bytes.Finish();
  std::uint32_t data = 0;
  std::memcpy(&data, file.data() + 0x2070, sizeof(data));
  const std::uint16_t thread = support::made_layout::kThreadApcProcess + 8;
  const std::uint16_t prcb = support::made_layout::kPrcbSpecialRegisters + 0xA0 + 8;
  std::memcpy(file.data() + data + 0x2C0, &thread, sizeof(thread));
  std::memcpy(file.data() + data + 0x2B0, &prcb, sizeof(prcb));
  const OpenedDump opened = OpenBytes(file);
  EXPECT_EQ(opened.dump->CurrentProcess(), kProcess);
  EXPECT_EQ(opened.dump->Cr8(), 13u);
}

TEST(TriageMemory, BelievesNoPointerToTheProcessorsBlockThatIsCut) {
  support::SmallDumpBytes bytes = Crashed();
  const std::uint64_t pointer = kPrcb;
  bytes.AddBlock(kProcessorBlocks + 24, std::as_bytes(std::span(&pointer, 1)));
  std::vector<std::byte> file = bytes.Finish();
  std::uint32_t blocks = 0;
  std::memcpy(&blocks, file.data() + 0x2078, sizeof(blocks));
  const std::uint32_t size = 7;  // and its last byte stands behind it all the same
  std::memcpy(file.data() + blocks + 12, &size, sizeof(size));
  EXPECT_TRUE(Read(*OpenBytes(file).dump, kPrcb, 8).empty());
}

TEST(TriageMemory, HasNoPageTables) {
  support::SmallDumpBytes bytes;
  bytes.AddBlock(0x10000, Pattern(16, 1));
  const OpenedDump opened = OpenBytes(bytes.Finish());
  std::byte one{};
  EXPECT_EQ(opened.dump->ReadPhysical(0x1000, std::span(&one, 1)), 0u);
  EXPECT_FALSE(opened.dump->Translate(0x10000));
  EXPECT_FALSE(opened.dump->Protection(0x10000));
}

TEST(TriageMemory, EndsWhereItsLastBlockDoes) {
  support::SmallDumpBytes bytes;
  bytes.AddBlock(0x10000, Pattern(16, 1));
  std::vector<std::byte> file = bytes.Finish();
  const std::size_t whole = file.size();
  EXPECT_EQ(OpenBytes(file).dump->Completeness().expected_size, whole);
  const std::uint32_t size = 0x100000;
  std::memcpy(file.data() + 0x2080 + 16 + 12, &size, sizeof(size));  // the one block's entry stands behind its bytes
  const auto cut = OpenBytes(file).dump->Completeness();
  EXPECT_EQ(cut.expected_size, 0x2080u + size);
  EXPECT_FALSE(cut.complete());
}

}  // namespace
}  // namespace varnel::formats
