#include "formats/dump/page_entry.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(PageEntry, TellsItsKindByItsBits) {
  EXPECT_EQ(KindOfPageEntry(0), PageEntryKind::kDemandZero);
  EXPECT_EQ(KindOfPageEntry(0x80), PageEntryKind::kDemandZero);  // a protection, and no place
  EXPECT_EQ(KindOfPageEntry(0x1001), PageEntryKind::kPresent);
  EXPECT_EQ(KindOfPageEntry(0x1C01), PageEntryKind::kPresent);  // what else is set means something else then
  EXPECT_EQ(KindOfPageEntry(0x1800), PageEntryKind::kTransition);
  EXPECT_EQ(KindOfPageEntry(0x1400), PageEntryKind::kPrototype);
  EXPECT_EQ(KindOfPageEntry(0x1C00), PageEntryKind::kPrototype);
  EXPECT_EQ(KindOfPageEntry(0x0000123400000080), PageEntryKind::kPageFile);
  EXPECT_EQ(KindOfPageEntry(0x0000000000002080), PageEntryKind::kPageFile);
}

TEST(PageEntry, NamesAPlaceAlignedToWhatItsLevelMaps) {
  const std::uint64_t entry = 0x8A0000FFFFFFF9E7;
  EXPECT_EQ(AddressOfPresent(entry, 1), 0x0000FFFFFFF000u);
  EXPECT_EQ(AddressOfPresent(0x00000001FFFFF0E7, 2), 0x1FFE00000u);
  EXPECT_EQ(AddressOfPresent(0x00000001FFFFF0E7, 3), 0x1C0000000u);
}

TEST(PageEntry, NamesALargePageOnTheTwoLevelsThatCan) {
  EXPECT_TRUE(NamesLargePage(0x81, 2));
  EXPECT_TRUE(NamesLargePage(0x81, 3));
  EXPECT_FALSE(NamesLargePage(0x81, 1));
  EXPECT_FALSE(NamesLargePage(0x81, 4));
  EXPECT_FALSE(NamesLargePage(0x01, 2));
}

TEST(PageEntry, OfAPageInTransitionCarriesAMarkThatIsNoPartOfItsPlace) {
  EXPECT_EQ(AddressOfTransition(0x0000200012345880), 0x12345000u);
}

TEST(PageEntry, PointsAtASharedEntryInTheKernelsHalf) {
  EXPECT_EQ(AddressOfPrototype(0x8A00123456780400), 0xFFFF8A0012345678u);
  EXPECT_EQ(AddressOfPrototype(0xFFFFFFFFFFFF0480), ~std::uint64_t{0});
}

TEST(PageEntry, TellsItsProtection) {
  EXPECT_EQ(HardwareProtection(0x001, true, false), 0x02u);   // read
  EXPECT_EQ(HardwareProtection(0x003, true, false), 0x04u);   // read and write
  EXPECT_EQ(HardwareProtection(0x801, true, false), 0x04u);   // not written yet
  EXPECT_EQ(HardwareProtection(0x003, false, false), 0x02u);  // a table above forbids it
  EXPECT_EQ(HardwareProtection(0x201, true, false), 0x08u);   // copied when it is written
  EXPECT_EQ(HardwareProtection(0x001, true, true), 0x20u);
  EXPECT_EQ(HardwareProtection(0x003, true, true), 0x40u);
  EXPECT_EQ(HardwareProtection(0x201, true, true), 0x80u);
}

TEST(PageEntry, OfAnAbsentPageTellsTheProtectionThatWasNoted) {
  const std::uint32_t expected[] = {0x01, 0x02, 0x10, 0x20, 0x04, 0x08, 0x40, 0x80};
  for (std::uint64_t i = 0; i < 8; ++i) EXPECT_EQ(SoftwareProtection(i << 5), expected[i]);
  for (const std::uint64_t noted : {8u, 16u, 24u}) EXPECT_EQ(SoftwareProtection(noted << 5), 0x01u);
  EXPECT_EQ(SoftwareProtection(std::uint64_t{8 + 4} << 5), 0x204u);   // not cached
  EXPECT_EQ(SoftwareProtection(std::uint64_t{16 + 4} << 5), 0x104u);  // guard
  EXPECT_EQ(SoftwareProtection(std::uint64_t{24 + 4} << 5), 0x404u);  // writes combined
}

}  // namespace
}  // namespace varnel::formats
