#include "formats/dump/kernel_dump.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

using support::GrowingBytes;

TEST(KernelDump, TellsWhatKindThePlatformWouldCallIt) {
  const struct {
    std::uint32_t type;
    std::uint32_t attributes;
    DumpQualifier expected;
  } rows[] = {
      {1, 0x45474150, DumpQualifier::kFull},   {2, 0x45474150, DumpQualifier::kKernel},
      {3, 0x45474150, DumpQualifier::kKernel}, {4, 0x45474150, DumpQualifier::kSmall},
      {4, 0x40, DumpQualifier::kSmall},        {5, 0x45474150, DumpQualifier::kFull},
      {5, 0x40, DumpQualifier::kActive},       {6, 0x45474150, DumpQualifier::kKernel},
      {6, 0x40, DumpQualifier::kActive},       {6, 0x08, DumpQualifier::kKernel},
      {7, 0x45474150, DumpQualifier::kKernel},
  };
  for (const auto& row : rows) {
    GrowingBytes bytes = support::MakeDumpHeader(row.type);
    bytes.Put<std::uint32_t>(0x88, 0);
    bytes.Put<std::uint32_t>(0x1050, row.attributes);
    const OpenedDump opened = OpenBytes(bytes.bytes());
    ASSERT_TRUE(opened.ok()) << row.type;
    EXPECT_EQ(opened.dump->Qualifier(), row.expected) << row.type << " " << row.attributes;
  }
}

TEST(KernelDump, OpensAnotherMachinesDumpAndReadsNothingOfIt) {
  support::PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.header().Put<std::uint32_t>(0x30, 0xAA64);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  ASSERT_TRUE(opened.ok());
  EXPECT_FALSE(opened.dump->IsX64());
  EXPECT_EQ(opened.dump->header().machine, 0xAA64u);
  EXPECT_EQ(opened.dump->Qualifier(), DumpQualifier::kKernel);
  EXPECT_TRUE(opened.dump->Modules().empty());
  EXPECT_TRUE(opened.dump->UnloadedModules().empty());
  EXPECT_TRUE(opened.dump->SecondaryData().empty());
  EXPECT_FALSE(opened.dump->debugger_data());
  EXPECT_FALSE(opened.dump->CurrentThread());
  EXPECT_FALSE(opened.dump->CurrentProcess());
  EXPECT_FALSE(opened.dump->Cr8());
  EXPECT_FALSE(opened.dump->CrashingProcessor());
  EXPECT_EQ(opened.dump->triage(), nullptr);
  EXPECT_EQ(opened.dump->WhyMissing(support::made_machine::kRsp), MissingReason::kNoMemory);
}

TEST(KernelDump, OpensASmallDumpThatEndsBehindItsHeader) {
  const OpenedDump opened = OpenBytes(support::MakeDumpHeader(4).bytes());
  ASSERT_TRUE(opened.ok());
  EXPECT_EQ(opened.dump->triage(), nullptr);
  EXPECT_TRUE(opened.dump->Modules().empty());
  EXPECT_FALSE(opened.dump->KernelStack());
  EXPECT_FALSE(opened.dump->Completeness().complete());
}

TEST(KernelDump, TellsThatADumpWithABitmapEndsBeforeIt) {
  EXPECT_FALSE(OpenBytes(support::MakeDumpHeader(6).bytes()).dump->Completeness().complete());
  EXPECT_TRUE(OpenBytes(support::MakeDumpHeader(3).bytes()).dump->Completeness().complete());
}

TEST(KernelDump, HasNoStackThatLeavesMemory) {
  support::SmallDumpBytes dump;
  dump.AddStack(~std::uint64_t{0} - 0x10, Pattern(0x40, 1));
  EXPECT_FALSE(OpenBytes(dump.Finish()).dump->KernelStack());
}

TEST(KernelDump, HasNoStackOfNoBytes) {
  support::SmallDumpBytes dump;
  dump.AddStack(0xFFFFC00000015100, {});
  EXPECT_FALSE(OpenBytes(dump.Finish()).dump->KernelStack());
}

TEST(KernelDump, TellsThatASmallDumpsMarkIsMissing) {
  support::SmallDumpBytes dump;
  std::vector<std::byte> bytes = dump.Finish();
  bytes.back() = std::byte{'X'};
  const DumpCompleteness whole = OpenBytes(bytes).dump->Completeness();
  EXPECT_FALSE(whole.consistent);
  EXPECT_FALSE(whole.complete());
}

TEST(KernelDump, MissesASmallDumpsMarkBehindTheEndOfTheFileWithoutContradiction) {
  support::SmallDumpBytes dump;
  std::vector<std::byte> bytes = dump.Finish();
  bytes.resize(bytes.size() - 2);
  const DumpCompleteness cut = OpenBytes(bytes).dump->Completeness();
  EXPECT_TRUE(cut.consistent);
  EXPECT_FALSE(cut.complete());
}

TEST(KernelDump, KnowsTheSizeOfASmallDumpThatTheKernelWroteItself) {
  for (const std::uint32_t attributes : {0x08u, 0x45474150u, 0x04u}) {
    support::SmallDumpBytes dump;
    dump.AddSecondary(1, Pattern(40, 1), 0, 0);
    dump.AddSecondary(2, Pattern(40, 2), 0, 0);
    std::vector<std::byte> bytes = dump.Finish();
    const std::uint64_t whole = bytes.size();
    std::memcpy(bytes.data() + 0xFA0, &whole, sizeof(whole));
    std::memcpy(bytes.data() + 0x1050, &attributes, sizeof(attributes));
    EXPECT_TRUE(OpenBytes(bytes).dump->Completeness().complete());
    for (const std::size_t behind : {std::size_t{0}, std::size_t{16}, std::size_t{16 + 0x20 + 40}}) {
      std::vector<std::byte> cut = bytes;
      cut.resize(whole - 16 - 2 * (0x20 + 40) + behind);
      // Only the kernel's own word tells of blocks of which nothing is left.
      EXPECT_EQ(OpenBytes(cut).dump->Completeness().complete(), attributes != 0x08u) << attributes << " " << behind;
    }
  }
}

TEST(KernelDump, FindsSecondaryDataBehindTheLastPage) {
  support::PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  for (const std::uint32_t type : {1u, 6u}) {
    GrowingBytes bytes;
    bytes.PutBytes(0, type == 1 ? dump.AsRuns() : dump.AsBitmap(type));
    const std::size_t end = bytes.size();
    bytes.PutText(end, "DumpBlob");
    bytes.Put<std::uint32_t>(end + 8, 0x10);
    bytes.Put<std::uint32_t>(end + 16, 0x20);
    bytes.Put<std::uint32_t>(end + 16 + 0x14, 8);
    bytes.PutText(end + 16 + 0x20, "the data");
    const OpenedDump opened = OpenBytes(bytes.bytes());
    ASSERT_EQ(opened.dump->SecondaryData().size(), 1u) << type;
    EXPECT_EQ(opened.dump->SecondaryData()[0].size, 8u);
    EXPECT_TRUE(opened.dump->Completeness().complete());
    EXPECT_EQ(opened.dump->Completeness().expected_size, bytes.size());
  }
}

TEST(KernelDump, IsCompleteUpToItsLastPageAndIncompleteWithoutIt) {
  support::PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  for (const std::uint32_t type : {1u, 5u, 6u}) {
    std::vector<std::byte> bytes = type == 1 ? dump.AsRuns() : dump.AsBitmap(type);
    EXPECT_TRUE(OpenBytes(bytes).dump->Completeness().complete()) << type;
    bytes.pop_back();
    const DumpCompleteness cut = OpenBytes(bytes).dump->Completeness();
    EXPECT_FALSE(cut.complete()) << type;
    EXPECT_TRUE(cut.consistent) << type;
    EXPECT_EQ(cut.expected_size, bytes.size() + 1) << type;
  }
}

TEST(KernelDump, IsNotOpenedOutOfWhatIsNone) {
  EXPECT_EQ(OpenBytes({}).problem, DumpProblem::kTooShort);
  EXPECT_EQ(OpenBytes(Pattern(0x3000, 1)).problem, DumpProblem::kNotADump);
}

// What is read when a dump opens does not grow with it.
TEST(KernelDump, ReadsAFewKilobytesWhenItOpens) {
  class Counting final : public DumpSource {
   public:
    explicit Counting(std::vector<std::byte> bytes) : file_(std::move(bytes)) {}
    std::uint64_t Size() const noexcept override { return file_.Size(); }
    std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
      bytes_read += into.size();
      return file_.Read(offset, into);
    }
    mutable std::size_t bytes_read = 0;

   private:
    support::DumpFileSource file_;
  };
  support::PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.Write(0xFFFFA00000000000, Pattern(0x400000, 1));
  support::SmallDumpBytes small;
  for (std::uint64_t i = 0; i < 1000; ++i) small.AddBlock(i * 0x10000, Pattern(0x1000, 1));
  for (const auto& bytes : {dump.AsRuns(), dump.AsBitmap(6), small.Finish()}) {
    const auto source = std::make_shared<Counting>(bytes);
    ASSERT_TRUE(KernelDump::Open(source).ok());
    EXPECT_LT(source->bytes_read, 8192u);
  }
}

}  // namespace
}  // namespace varnel::formats
