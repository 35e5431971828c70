#include "platform/embedded/crashdump/physical_memory.h"

#include <gtest/gtest.h>

#include <set>

namespace varnel::embedded {
namespace {

TEST(PhysicalMemory, LeavesTheOldAdaptersWindowOut) {
  const PhysicalMemory memory(64 << 20);
  EXPECT_EQ(memory.runs()[0].first, 1u);
  EXPECT_EQ(memory.runs()[0].first + memory.runs()[0].count, 0x9Fu);
  EXPECT_EQ(memory.runs()[1].first, 0x100u);
  EXPECT_EQ(memory.end(), 16384u);
  EXPECT_EQ(memory.page_count(), 0x9Eu + 16384 - 0x100);
}

TEST(PhysicalMemory, GivesEachPageOnceAndWithinItsRuns) {
  PhysicalMemory memory(64 << 20);
  std::set<std::uint64_t> pages;
  for (int i = 0; i < 1000; ++i) pages.insert(memory.TakePage());
  EXPECT_EQ(pages.size(), 1000u);
  EXPECT_GE(*pages.begin(), memory.runs()[1].first);
  EXPECT_LT(*pages.rbegin(), memory.end());
}

TEST(PhysicalMemory, ALargeOneKeepsOnlyWhatIsWrittenAndSpreadsIt) {
  PhysicalMemory memory(std::uint64_t{64} << 30);
  std::uint64_t highest = 0;
  for (int i = 0; i < 10; ++i) highest = std::max(highest, memory.TakePage());
  EXPECT_EQ(memory.pages().size(), 10u);
  EXPECT_GT(highest, memory.end() / 2);
}

TEST(PhysicalMemory, LargePagesBeginWhereSuchPagesMay) {
  PhysicalMemory memory(64 << 20);
  const std::uint64_t first = memory.TakeLargePage();
  EXPECT_EQ(first % 512, 0u);
  EXPECT_LE(first + 512, memory.end());
  EXPECT_EQ(memory.TakeLargePage(), first - 512);
}

TEST(PhysicalMemory, APageIsZeroUntilItIsWritten) {
  PhysicalMemory memory(64 << 20);
  const std::uint64_t page = memory.TakePage(PhysicalMemory::Owner::kProcess);
  EXPECT_EQ(memory.Page(page)[17], std::byte{0});
  memory.Page(page)[17] = std::byte{5};
  EXPECT_EQ(memory.Page(page)[17], std::byte{5});
  EXPECT_EQ(memory.pages().at(page)->owner, PhysicalMemory::Owner::kProcess);
}

}  // namespace
}  // namespace varnel::embedded
