#include "platform/embedded/crashdump/address_map.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kAddress = 0xFFFFF80123456000;

class AddressMapTest : public testing::TestWithParam<unsigned> {
 protected:
  // The entry that a processor finds at a level, walked here by hand.
  std::uint64_t Entry(std::uint64_t address, unsigned level) {
    std::uint64_t table = map_.root() / 4096;
    for (unsigned at = GetParam(); at > level; --at) {
      table = (Load<std::uint64_t>(memory_.Page(table), 8 * (address >> (3 + 9 * at) & 511)) & 0xFFFFFFFFFF000) / 4096;
    }
    return Load<std::uint64_t>(memory_.Page(table), 8 * (address >> (3 + 9 * level) & 511));
  }
  PhysicalMemory memory_{64 << 20};
  AddressMap map_{&memory_, GetParam()};
};

TEST_P(AddressMapTest, WhatIsWrittenStandsInThePagesThatTheTablesTell) {
  map_.MapNew(kAddress, 8192, PageAccess::kReadWrite);
  map_.Put<std::uint64_t>(kAddress + 4092, 0x1122334455667788);
  const std::uint64_t first = Entry(kAddress, 1);
  const std::uint64_t second = Entry(kAddress + 4096, 1);
  EXPECT_EQ(first & 0x8000000000000FFF, 0x8000000000000163);
  EXPECT_EQ(Load<std::uint32_t>(memory_.Page((first & 0xFFFFFFFFFF000) / 4096), 4092), 0x55667788u);
  EXPECT_EQ(Load<std::uint32_t>(memory_.Page((second & 0xFFFFFFFFFF000) / 4096), 0), 0x11223344u);
  std::array<std::byte, 8> back{};
  map_.Read(kAddress + 4092, back);
  EXPECT_EQ(Load<std::uint64_t>(back, 0), 0x1122334455667788u);
}

TEST_P(AddressMapTest, ALargePageReachesAllOfItsBytes) {
  const std::uint64_t first = memory_.TakeLargePage();
  map_.MapLarge(0xFFFFA10000000000, first);
  map_.Put<std::uint32_t>(0xFFFFA10000123456, 77);
  EXPECT_EQ(Load<std::uint32_t>(memory_.Page(first + 0x123), 0x456), 77u);
  EXPECT_EQ(Entry(0xFFFFA10000000000, 2) & 0x81, 0x81u);
}

TEST_P(AddressMapTest, PagesTellWhatMayBeDoneWithThem) {
  constexpr std::uint64_t kNoExecute = std::uint64_t{1} << 63;
  EXPECT_EQ(AddressMap::EntryFor(5, PageAccess::kExecuteRead) & (kNoExecute | 2), 0u);
  EXPECT_EQ(AddressMap::EntryFor(5, PageAccess::kReadOnly) & (kNoExecute | 2), kNoExecute);
  EXPECT_EQ(AddressMap::EntryFor(5, PageAccess::kReadWrite) & (kNoExecute | 2), kNoExecute | 2);
  EXPECT_EQ(AddressMap::EntryFor(5, PageAccess::kUserReadWrite) & 6, 6u);
}

TEST_P(AddressMapTest, AnEntryOfAnyKindCanBePut) {
  map_.SetEntry(kAddress, 1, 0x0000000000123880);
  EXPECT_EQ(Entry(kAddress, 1), 0x0000000000123880u);
}

INSTANTIATE_TEST_SUITE_P(Levels, AddressMapTest, testing::Values(4u, 5u));

}  // namespace
}  // namespace varnel::embedded
