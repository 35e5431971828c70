#include "formats/byte_cursor.h"

#include <gtest/gtest.h>

#include <array>

namespace varnel::formats {
namespace {

constexpr std::array<std::byte, 6> kBytes = {std::byte{1}, std::byte{2}, std::byte{3},
                                             std::byte{4}, std::byte{5}, std::byte{6}};

TEST(ByteCursor, ReadsLittleEndianValuesOneBehindTheOther) {
  ByteCursor cursor(kBytes);
  std::uint32_t first = 0;
  std::uint16_t second = 0;
  ASSERT_TRUE(cursor.Read(&first));
  ASSERT_TRUE(cursor.Read(&second));
  EXPECT_EQ(first, 0x04030201u);
  EXPECT_EQ(second, 0x0605u);
  EXPECT_EQ(cursor.remaining(), 0u);
}

TEST(ByteCursor, ARefusedReadLeavesPlaceAndTargetUntouched) {
  ByteCursor cursor(kBytes);
  ASSERT_TRUE(cursor.Skip(4));
  std::uint32_t value = 77;
  EXPECT_FALSE(cursor.Read(&value));
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(cursor.offset(), 4u);
}

TEST(ByteCursor, TakesAndSeeksOnlyWithinTheBytes) {
  ByteCursor cursor(kBytes);
  std::span<const std::byte> part;
  EXPECT_FALSE(cursor.Take(7, &part));
  EXPECT_FALSE(cursor.Skip(~std::size_t{0}));
  EXPECT_FALSE(cursor.Seek(7));
  ASSERT_TRUE(cursor.Seek(6));
  ASSERT_TRUE(cursor.Take(0, &part));
  EXPECT_TRUE(part.empty());
}

}  // namespace
}  // namespace varnel::formats
