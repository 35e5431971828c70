#include "formats/dump/segment_map.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(SegmentMap, FindsTheRestOfAPieceFromAnAddressWithinIt) {
  const SegmentMap map({{0x1000, 0x100, 0x40}}, 0x1000);
  const auto found = map.Find(0x1010);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->size, 0xF0u);
  EXPECT_EQ(found->offset, 0x50u);
  EXPECT_FALSE(map.Find(0xFFF));
  EXPECT_FALSE(map.Find(0x1100));
}

TEST(SegmentMap, FindsNothingWhereThereAreNoPieces) {
  EXPECT_FALSE(SegmentMap().Find(0));
  EXPECT_EQ(SegmentMap().NextAbove(0), ~std::uint64_t{0});
}

TEST(SegmentMap, LetsThePieceThatBeginsFirstCountWhereTwoOverlap) {
  const SegmentMap map({{0x1080, 0x100, 0x500}, {0x1000, 0x100, 0x40}}, 0x1000);
  EXPECT_EQ(map.Find(0x10FF)->offset, 0x13Fu);
  EXPECT_EQ(map.Find(0x1100)->offset, 0x580u);
  EXPECT_EQ(map.Find(0x1100)->size, 0x80u);
}

TEST(SegmentMap, TakesTheLongestOfPiecesThatBeginTogether) {
  const SegmentMap map({{0x1000, 0x10, 0x500}, {0x1000, 0x100, 0x40}}, 0x1000);
  EXPECT_EQ(map.Find(0x1000)->offset, 0x40u);
  EXPECT_EQ(map.Find(0x1000)->size, 0x100u);
}

TEST(SegmentMap, GoesOnBehindAPieceWithinAnother) {
  const SegmentMap map({{0x1000, 0x100, 0}, {0x1010, 0x10, 0x500}, {0x1100, 0x10, 0x600}}, 0x1000);
  EXPECT_EQ(map.Find(0x1010)->offset, 0x10u);
  EXPECT_EQ(map.Find(0x1105)->offset, 0x605u);
}

TEST(SegmentMap, CutsAPieceWhereTheFileEnds) {
  const SegmentMap map({{0x1000, 0x100, 0xFF0}, {0x2000, 0x100, 0x1000}}, 0x1000);
  EXPECT_EQ(map.Find(0x1000)->size, 0x10u);
  EXPECT_FALSE(map.Find(0x1010));
  EXPECT_FALSE(map.Find(0x2000));
}

TEST(SegmentMap, CutsAPieceWhereMemoryEnds) {
  const SegmentMap map({{~std::uint64_t{0} - 7, 0x100, 0}}, 0x1000);
  EXPECT_EQ(map.Find(~std::uint64_t{0} - 7)->size, 7u);
}

TEST(SegmentMap, TellsWhereTheNextPieceBegins) {
  const SegmentMap map({{0x2000, 0x10, 0}, {0x1000, 0x10, 0}}, 0x1000);
  EXPECT_EQ(map.NextAbove(0x500), 0x1000u);
  EXPECT_EQ(map.NextAbove(0x1000), 0x2000u);
}

}  // namespace
}  // namespace varnel::formats
