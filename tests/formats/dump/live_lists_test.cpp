#include "formats/dump/live_lists.h"

#include <gtest/gtest.h>

#include "formats/dump/triage_lists.h"
#include "open_dump.h"

namespace varnel::formats {
namespace {

namespace machine = support::made_machine;
using support::PagedDumpBytes;

constexpr std::uint64_t kFirst = 0xFFFFB00100020000;  // entries of the made machine
constexpr std::uint64_t kSecond = kFirst + 0x1000;
constexpr std::uint64_t kMore = 0xFFFFB00200000000;

TEST(LiveLists, GiveTheModulesInTheOrderOfTheList) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& modules = opened.dump->Modules();
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[0].path, u"\\SystemRoot\\system32\\ntoskrnl.exe");
  EXPECT_EQ(modules[0].name, u"ntoskrnl.exe");
  EXPECT_EQ(modules[0].base, machine::kKernelBase);
  EXPECT_EQ(modules[0].size, 0x20000u);
  EXPECT_EQ(modules[0].entry_point, machine::kKernelBase + 0x1000);
  EXPECT_EQ(modules[0].exception_table, machine::kKernelBase + 0x9000);
  EXPECT_EQ(modules[0].exception_table_size, 0x600u);
  EXPECT_EQ(modules[0].flags, 0x49104000u);
  EXPECT_EQ(modules[0].check_sum, 0x123456u);
  EXPECT_EQ(modules[0].time_date_stamp, 0x5F000001u);
  EXPECT_EQ(modules[1].path, u"");
  EXPECT_EQ(modules[1].name, u"driver.sys");
}

TEST(LiveLists, EndAtAnEntryThatWasThereBefore) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  support::AddLiveModule(&dump, kMore, kSecond, 0x1000, u"", u"third.sys");
  dump.Put<std::uint64_t>(kMore, kSecond);
  EXPECT_EQ(OpenBytes(dump.AsBitmap(6)).dump->Modules().size(), 3u);
}

TEST(LiveLists, EndAtAnEntryThatCannotBeRead) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.Put<std::uint64_t>(kSecond, 0xFFFFB0FF00000000);
  EXPECT_EQ(OpenBytes(dump.AsBitmap(6)).dump->Modules().size(), 2u);
  dump.Put<std::uint64_t>(machine::kModuleListHead, 0);
  EXPECT_TRUE(OpenBytes(dump.AsBitmap(6)).dump->Modules().empty());
}

TEST(LiveLists, KeepAModuleWhoseEntryIsThereUpToItsSize) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  const std::uint64_t where = kMore + 0x1000 - 0x48;
  support::AddLiveModule(&dump, where, kSecond, 0x1000, u"", u"");
  dump.SetEntry(where + 0x48, 1, 0);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& modules = opened.dump->Modules();
  ASSERT_EQ(modules.size(), 3u);
  EXPECT_EQ(modules[2].size, 0x20000u);
  EXPECT_EQ(modules[2].time_date_stamp, 0u);
  EXPECT_EQ(modules[2].name, u"unknown_0000000000001000");
}

TEST(LiveLists, FallBackToTheOtherNameWhenOneIsPagedOut) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  support::AddLiveModule(&dump, kMore, kSecond, 0x1000, u"\\x\\path.sys", u"base.sys");
  support::AddLiveModule(&dump, kMore + 0x10000, kMore, 0x2000, u"\\x\\path.sys", u"base.sys");
  dump.Put<std::uint64_t>(kMore + 0x50, 0xFFFFB0FF00000000);
  dump.Put<std::uint64_t>(kMore + 0x10060, 0xFFFFB0FF00000000);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& modules = opened.dump->Modules();
  ASSERT_EQ(modules.size(), 4u);
  EXPECT_EQ(modules[2].path, u"");
  EXPECT_EQ(modules[2].name, u"base.sys");
  EXPECT_EQ(modules[3].name, u"path.sys");
}

TEST(LiveLists, HaveNoMoreThanTheirLimit) {
  // Entries without end, one behind the other, with neither name.
  class Endless final : public AddressSpace {
   public:
    std::size_t ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept override {
      std::fill(into.begin(), into.end(), std::byte{});
      const std::uint64_t next = address + 0x90;
      std::memcpy(into.data(), &next, std::min(into.size(), sizeof(next)));
      ++reads;
      return into.size();
    }
    mutable std::size_t reads = 0;
  };
  const Endless memory;
  EXPECT_EQ(ReadLiveModules(memory, 0x1000, std::uint64_t{1} << 40).size(), kMaxListedModules);
  EXPECT_EQ(memory.reads, kMaxListedModules + 1);
  EXPECT_EQ(ReadLiveModules(memory, 0x1000, 0x48 * 10).size(), 10u);  // a file without room for more
}

TEST(LiveLists, ReadEachEntryOnceInAListOfFiveThousand) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  std::uint64_t previous = kSecond;
  for (std::uint64_t i = 0; i < 4998; ++i) {
    const std::uint64_t where = kMore + 0x300 * i;
    support::AddLiveModule(&dump, where, previous, 0x10000 * i, u"", u"m" + std::u16string(1, char16_t(u'a' + i % 26)));
    previous = where;
  }
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& modules = opened.dump->Modules();
  ASSERT_EQ(modules.size(), 5000u);
  EXPECT_EQ(modules[4999].base, 0x10000u * 4997);
  EXPECT_EQ(modules[4999].name, u"mf");
}

TEST(LiveLists, GiveUnloadedModulesTheNewestFirst) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& unloaded = opened.dump->UnloadedModules();
  ASSERT_EQ(unloaded.size(), 2u);
  EXPECT_EQ(unloaded[0].name, u"a_name_of_more_than_twelve.sys");
  EXPECT_EQ(unloaded[0].start, 0xFFFFF80031000000u);
  EXPECT_EQ(unloaded[0].end, 0xFFFFF80031008000u);
  EXPECT_EQ(unloaded[0].time, 0x01DA000000000000u);
  EXPECT_EQ(unloaded[1].name, u"older.sys");
}

TEST(LiveLists, TakeTheLastSlotForOlderThanTheFirstOnesWhileTheKernelCountsItsFirstRound) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.Put<std::uint32_t>(machine::kUnloadedArray + 8, 1);
  const std::uint64_t slots = machine::kUnloadedArray + 0x100;
  dump.Put<std::uint64_t>(slots + 0x28 * 45 + 0x10, 0xFFFFF80033000000);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  const auto& unloaded = opened.dump->UnloadedModules();
  ASSERT_EQ(unloaded.size(), 3u);
  EXPECT_EQ(unloaded[0].start, 0xFFFFF80031000000u);
  EXPECT_EQ(unloaded[1].start, 0xFFFFF80032000000u);
  EXPECT_EQ(unloaded[2].start, 0xFFFFF80033000000u);
  EXPECT_EQ(unloaded[2].name, u"");
}

TEST(LiveLists, ReadNoNameAndNoSlotsAtANullPointer) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  support::GrowingBytes page(0x1000);
  for (std::size_t at = 0; at < 0x1000; at += 2) page.Put<char16_t>(at, u'x');
  dump.Write(0, page.bytes());
  support::AddLiveModule(&dump, kMore, kSecond, 0x1000, u"", u"");
  for (const std::uint64_t name : {0x48u, 0x58u}) dump.Put<std::uint16_t>(kMore + name, 8);
  dump.Put<std::uint64_t>(machine::kUnloadedArray, 0);
  const OpenedDump opened = OpenBytes(dump.AsBitmap(6));
  ASSERT_EQ(opened.dump->Modules().size(), 3u);
  EXPECT_EQ(opened.dump->Modules()[2].path, u"");
  EXPECT_EQ(opened.dump->Modules()[2].name, u"unknown_0000000000001000");
  EXPECT_TRUE(opened.dump->UnloadedModules().empty());
}

TEST(LiveLists, HaveNoUnloadedModulesWhereTheKernelHadNone) {
  PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  dump.Put<std::uint64_t>(machine::kUnloadedArray, 0);
  EXPECT_TRUE(OpenBytes(dump.AsBitmap(6)).dump->UnloadedModules().empty());
  dump.header().Put<std::uint64_t>(0x80, 0);
  EXPECT_TRUE(OpenBytes(dump.AsBitmap(6)).dump->UnloadedModules().empty());
}

}  // namespace
}  // namespace varnel::formats
