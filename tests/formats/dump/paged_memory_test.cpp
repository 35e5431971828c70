#include "formats/dump/paged_memory.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

namespace machine = support::made_machine;
using support::PagedDumpBytes;

constexpr std::uint64_t kPage = 0x1000;
constexpr std::uint64_t kData = 0xFFFFA00000200000;

std::vector<std::byte> Read(const KernelDump& dump, std::uint64_t address, std::size_t size) {
  std::vector<std::byte> out(size);
  out.resize(dump.ReadVirtual(address, out));
  return out;
}

OpenedDump OpenAsBitmap(PagedDumpBytes* dump) {
  OpenedDump opened = OpenBytes(dump->AsBitmap(6));
  EXPECT_TRUE(opened.ok());
  return opened;
}

class EachForm : public ::testing::TestWithParam<int> {
 protected:
  static std::vector<std::byte> Lay(PagedDumpBytes* dump) {
    return GetParam() == 1 ? dump->AsRuns() : dump->AsBitmap(static_cast<std::uint32_t>(GetParam()));
  }
};

TEST_P(EachForm, ReadsAcrossPagesThatDoNotFollowEachOtherInTheFile) {
  PagedDumpBytes dump;
  dump.Map(kData + 2 * kPage);
  dump.Write(kData, Pattern(3 * kPage, 4));
  const OpenedDump opened = OpenBytes(Lay(&dump));
  ASSERT_TRUE(opened.ok());
  EXPECT_EQ(Read(*opened.dump, kData, 4 * kPage), Pattern(3 * kPage, 4));
  EXPECT_EQ(opened.dump->WhyMissing(kData + 3 * kPage), MissingReason::kNotMapped);
}

TEST_P(EachForm, ReadsPhysicalMemoryUpToThePageThatIsMissing) {
  PagedDumpBytes dump;
  dump.TablePage(kData, 1);  // so that the page is the last of all
  const std::uint64_t page = dump.Map(kData);
  dump.Write(kData, Pattern(kPage, 4));
  const OpenedDump opened = OpenBytes(Lay(&dump));
  std::vector<std::byte> bytes(2 * kPage);
  EXPECT_EQ(opened.dump->ReadPhysical((page + 1) * kPage, bytes), 0u);
  EXPECT_EQ(opened.dump->ReadPhysical(page * kPage + 8, bytes), kPage - 8);
  EXPECT_EQ(bytes[0], Pattern(kPage, 4)[8]);
  EXPECT_EQ(opened.dump->ReadPhysical(~std::uint64_t{0}, bytes), 0u);
}

TEST_P(EachForm, MissesPagesBehindTheEndOfACutFile) {
  PagedDumpBytes dump;
  dump.TablePage(kData, 1);  // so that the page is the last of all
  dump.Write(kData, Pattern(kPage, 4));
  std::vector<std::byte> bytes = Lay(&dump);
  bytes.resize(bytes.size() - 0x800);
  const OpenedDump opened = OpenBytes(bytes);
  ASSERT_TRUE(opened.ok());
  EXPECT_EQ(Read(*opened.dump, kData, kPage).size(), 0x800u);
  EXPECT_EQ(opened.dump->WhyMissing(kData + 0x800), MissingReason::kNoDataPage);
  EXPECT_FALSE(opened.dump->Completeness().complete());
}

INSTANTIATE_TEST_SUITE_P(PagedMemory, EachForm, ::testing::Values(1, 5, 6));

TEST(PagedMemory, TellsATablePageThatIsMissingFromADataPageThatIs) {
  PagedDumpBytes dump;
  dump.Drop(dump.Map(kData));
  dump.Drop(dump.TablePage(kData + 0x40000000, 1));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(opened.dump->WhyMissing(kData), MissingReason::kNoDataPage);
  EXPECT_TRUE(opened.dump->Translate(kData));
  EXPECT_EQ(opened.dump->Protection(kData), 0x40u);
  EXPECT_EQ(opened.dump->WhyMissing(kData + 0x40000000), MissingReason::kNoTablePage);
  EXPECT_FALSE(opened.dump->Translate(kData + 0x40000000));
  EXPECT_FALSE(opened.dump->Protection(kData + 0x40000000));
}

TEST(PagedMemory, KnowsAddressesThatNoMachineHas) {
  PagedDumpBytes dump;
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(opened.dump->WhyMissing(0x0000800000000000), MissingReason::kNotCanonical);
  EXPECT_EQ(opened.dump->WhyMissing(0xFFFF7FFFFFFFFFFF), MissingReason::kNotCanonical);
  EXPECT_EQ(opened.dump->WhyMissing(0x00007FFFFFFFFFFF), MissingReason::kNotMapped);
  EXPECT_EQ(opened.dump->WhyMissing(0xFFFF800000000000), MissingReason::kNotMapped);
}

TEST(PagedMemory, FollowsALargePageOf2MegabytesAndLeavesItsOwnBitsOut) {
  PagedDumpBytes dump;
  dump.PageAt(0x7A05) = Pattern(kPage, 6);
  dump.SetEntry(kData, 2, 0x7A00000 | 0x1000 | 0x83 | PagedDumpBytes::kNoExecute);  // bit 12 is no part of the place
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, kData + 5 * kPage, kPage), Pattern(kPage, 6));
  EXPECT_EQ(opened.dump->Translate(kData + 0x5678), 0x7A05678u);
  EXPECT_EQ(opened.dump->Protection(kData), 0x04u);
  EXPECT_EQ(opened.dump->WhyMissing(kData), MissingReason::kNoDataPage);
}

TEST(PagedMemory, FollowsALargePageOf1Gigabyte) {
  PagedDumpBytes dump;
  const std::uint64_t address = 0xFFFFA00080000000;
  dump.PageAt(0x8ABCD) = Pattern(kPage, 7);
  dump.SetEntry(address, 3, 0x80000000 | 0x81);
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, address + 0xABCD * kPage, kPage), Pattern(kPage, 7));
  EXPECT_EQ(opened.dump->Protection(address), 0x20u);
}

TEST(PagedMemory, TakesProtectionFromAllLevels) {
  PagedDumpBytes dump;
  dump.Map(kData);
  dump.Map(kData + kPage, PagedDumpBytes::kNoExecute);
  const std::uint64_t table = dump.TablePage(kData, 1);
  const OpenedDump open = OpenAsBitmap(&dump);
  EXPECT_EQ(open.dump->Protection(kData), 0x40u);
  EXPECT_EQ(open.dump->Protection(kData + kPage), 0x02u);
  dump.SetEntry(kData, 2, table * kPage | 1 | PagedDumpBytes::kNoExecute);
  const OpenedDump closed = OpenAsBitmap(&dump);
  EXPECT_EQ(closed.dump->Protection(kData), 0x02u);
}

TEST(PagedMemory, ReadsAPageInTransition) {
  PagedDumpBytes dump;
  const std::uint64_t page = dump.Map(kData);
  dump.Write(kData, Pattern(kPage, 8));
  dump.SetEntry(kData, 1, page * kPage | 0x0000200000000000 | 0x800 | (4 << 5));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, kData, kPage), Pattern(kPage, 8));
  EXPECT_EQ(opened.dump->Protection(kData), 0x04u);
}

TEST(PagedMemory, FollowsATableInTransition) {
  PagedDumpBytes dump;
  dump.Write(kData, Pattern(kPage, 8));
  dump.SetEntry(kData, 2, dump.TablePage(kData, 1) * kPage | 0x0000200000000000 | 0x880);
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, kData, kPage), Pattern(kPage, 8));
}

std::uint64_t PrototypeEntry(std::uint64_t address) {
  return address << 16 | 0x400;
}

TEST(PagedMemory, FollowsAPrototypeEntryToAPageThatIsPresentOrInTransition) {
  PagedDumpBytes dump;
  const std::uint64_t shared = 0xFFFF8A0000002000;
  const std::uint64_t page = dump.Map(kData);
  dump.Write(kData, Pattern(kPage, 9));
  dump.Put<std::uint64_t>(shared + 8, page * kPage | 0x801);
  dump.Put<std::uint64_t>(shared + 16, page * kPage | 0x0000200000000000 | 0x800 | (3 << 5));
  dump.SetEntry(kData + kPage, 1, PrototypeEntry(shared + 8));
  dump.SetEntry(kData + 2 * kPage, 1, PrototypeEntry(shared + 16));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, kData + kPage, kPage), Pattern(kPage, 9));
  EXPECT_EQ(Read(*opened.dump, kData + 2 * kPage, kPage), Pattern(kPage, 9));
  EXPECT_EQ(opened.dump->Protection(kData + kPage), 0x40u);
  EXPECT_EQ(opened.dump->Protection(kData + 2 * kPage), 0x20u);
}

TEST(PagedMemory, TellsWhatAPrototypeEntryCannotGive) {
  PagedDumpBytes dump;
  const std::uint64_t shared = 0xFFFF8A0000002000;
  dump.Put<std::uint64_t>(shared, 0);
  dump.Put<std::uint64_t>(shared + 8, 0x0000123400000080);
  dump.Put<std::uint64_t>(shared + 16, 0xFFFF8A0000002400);
  const std::uint64_t entries[] = {PrototypeEntry(shared),
                                   PrototypeEntry(shared + 8),
                                   PrototypeEntry(shared + 16),
                                   PrototypeEntry(0xFFFF8A7000000000),
                                   PrototypeEntry(~std::uint64_t{0}) | (4 << 5),
                                   PrototypeEntry(0x00001A0000000000)};
  const MissingReason reasons[] = {MissingReason::kNotMapped,   MissingReason::kPagedOut,  MissingReason::kPagedOut,
                                   MissingReason::kNoTablePage, MissingReason::kNotMapped, MissingReason::kNotMapped};
  for (std::size_t i = 0; i < 6; ++i) dump.SetEntry(kData + i * kPage, 1, entries[i]);
  const OpenedDump opened = OpenAsBitmap(&dump);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(opened.dump->WhyMissing(kData + i * kPage), reasons[i]) << i;
  EXPECT_EQ(opened.dump->Protection(kData + 4 * kPage), 0x04u);
}

TEST(PagedMemory, FollowsASharedEntryThatLiesInMemoryThatIsSharedItself) {
  PagedDumpBytes dump;
  const std::uint64_t shared = 0xFFFF8A0000002000;
  const std::uint64_t outer = 0xFFFF8A0000005000;
  const std::uint64_t page = dump.Map(kData);
  dump.Write(kData, Pattern(kPage, 9));
  const std::uint64_t table = dump.Map(outer + kPage);  // holds the shared entry
  dump.Put<std::uint64_t>(outer + kPage + 8, page * kPage | 0x801);
  dump.Put<std::uint64_t>(outer, table * kPage | 0x801);
  dump.SetEntry(shared, 1, PrototypeEntry(outer));
  dump.SetEntry(kData + kPage, 1, PrototypeEntry(shared + 8));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, kData + kPage, kPage), Pattern(kPage, 9));
}

TEST(PagedMemory, EndsWhereSharedEntriesPointAtEachOther) {
  PagedDumpBytes dump;
  // The table's own page lies at an address whose entry points back into that page.
  const std::uint64_t address = 0xFFFF8A0000002000;
  dump.SetEntry(address, 1, PrototypeEntry(address + 8));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_NE(opened.dump->WhyMissing(address), MissingReason::kNone);
}

TEST(PagedMemory, TellsThatAPageIsInAPageFile) {
  PagedDumpBytes dump;
  dump.SetEntry(kData, 1, 0x0000123400000000 | (4 << 5));
  dump.SetEntry(kData + 0x40000000, 2, 0x0000123400000080);
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(opened.dump->WhyMissing(kData), MissingReason::kPagedOut);
  EXPECT_EQ(opened.dump->Protection(kData), 0x04u);
  EXPECT_EQ(opened.dump->WhyMissing(kData + 0x40000000), MissingReason::kPagedOut);
  EXPECT_TRUE(Read(*opened.dump, kData, 8).empty());
}

TEST(PagedMemory, TellsAPageThatNobodyHadTouchedFromOneInAPageFile) {
  PagedDumpBytes dump;
  const std::uint64_t shared = 0xFFFF8A0000002000;
  dump.Put<std::uint64_t>(shared, 4 << 5);
  dump.SetEntry(kData, 1, 4 << 5);
  dump.SetEntry(kData + kPage, 1, PrototypeEntry(shared));
  const OpenedDump opened = OpenAsBitmap(&dump);
  for (const std::uint64_t address : {kData, kData + kPage}) {
    EXPECT_EQ(opened.dump->WhyMissing(address), MissingReason::kNotMapped);
    EXPECT_EQ(opened.dump->Protection(address), 0x04u);
  }
}

TEST(PagedMemory, FindsThatTheTablesHaveFiveLevels) {
  for (const bool scramble : {false, true}) {
    PagedDumpBytes dump(5);
    support::MakeMachine(&dump, scramble, 5);
    const std::uint64_t wide = 0xFF11000012345000;  // an address that only five levels reach
    dump.Write(wide, Pattern(0x100, 3));
    const OpenedDump opened = OpenAsBitmap(&dump);
    EXPECT_EQ(Read(*opened.dump, wide, 0x100), Pattern(0x100, 3));
    ASSERT_TRUE(opened.dump->debugger_data());
    EXPECT_EQ(opened.dump->debugger_data()->was_encoded(), scramble);
    EXPECT_EQ(opened.dump->Modules().size(), 2u);
    EXPECT_EQ(opened.dump->WhyMissing(0x0100000000000000), MissingReason::kNotCanonical);
  }
}

TEST(PagedMemory, FindsFiveLevelsByTheListOfModulesWithoutTheDebuggersBlock) {
  PagedDumpBytes dump(5);
  support::MakeMachine(&dump, false, 5);
  dump.header().Put<std::uint64_t>(0x80, 0);
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_FALSE(opened.dump->debugger_data());
  EXPECT_EQ(opened.dump->Modules().size(), 2u);
}

TEST(PagedMemory, BelievesTheTablesWhereTheDebuggersBlockTellsOtherLevels) {
  PagedDumpBytes dump(4);
  support::MakeMachine(&dump, true, 5);
  const OpenedDump opened = OpenAsBitmap(&dump);
  ASSERT_TRUE(opened.dump->debugger_data());
  EXPECT_EQ(opened.dump->Modules().size(), 2u);
  EXPECT_EQ(opened.dump->CurrentThread(), machine::kThread);
}

TEST(PagedMemory, ReadsTheDebuggersBlockPlainOrScrambled) {
  for (const bool scramble : {false, true}) {
    PagedDumpBytes dump;
    support::MakeMachine(&dump, scramble);
    const OpenedDump opened = OpenAsBitmap(&dump);
    const DebuggerData* data = opened.dump->debugger_data();
    ASSERT_TRUE(data);
    EXPECT_EQ(data->was_encoded(), scramble);
    EXPECT_EQ(data->At<std::uint64_t>(debugger_data_field::kKernBase), machine::kKernelBase);
  }
}

TEST(PagedMemory, TakesFourLevelsWhereTheListOfModulesIsThereWithBoth) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.header().Put<std::uint64_t>(0x80, 0);
  // The root names itself, so that a level more finds the same pages for the topmost addresses.
  const std::uint64_t root = dump.TablePage(kData, 4);
  const std::uint64_t itself = root * kPage | 3;
  std::memcpy(dump.PageAt(root).data() + 8 * 0x1FF, &itself, sizeof(itself));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(opened.dump->Modules().size(), 2u);
  EXPECT_EQ(opened.dump->WhyMissing(0xFF11000012345000), MissingReason::kNotCanonical);
}

TEST(PagedMemory, LeavesTheTagsOfTheRootOut) {
  PagedDumpBytes dump;
  dump.Write(kData, Pattern(kPage, 8));
  const std::uint64_t root = dump.TablePage(kData, 4) * kPage;
  for (const std::uint64_t tags :
       {std::uint64_t{0x002}, std::uint64_t{1} << 63, std::uint64_t{0xFFF0'0000'0000'0FFF}}) {
    dump.header().Put<std::uint64_t>(0x10, root | tags);
    EXPECT_EQ(Read(*OpenAsBitmap(&dump).dump, kData, kPage), Pattern(kPage, 8)) << tags;
  }
}

TEST(PagedMemory, EndsAReadAtTheLastAddress) {
  PagedDumpBytes dump;
  dump.Write(~std::uint64_t{0} - 7, Pattern(8, 1));
  dump.Write(0, Pattern(8, 2));
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(Read(*opened.dump, ~std::uint64_t{0} - 7, 16), Pattern(8, 1));
}

TEST(PagedMemory, ReadsNothingWhereTheRootIsMissing) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.header().Put<std::uint64_t>(0x10, 0x7FFFF000);
  const OpenedDump opened = OpenAsBitmap(&dump);
  EXPECT_EQ(opened.dump->WhyMissing(machine::kRsp), MissingReason::kNoTablePage);
  EXPECT_TRUE(opened.dump->Modules().empty());
}

}  // namespace
}  // namespace varnel::formats
