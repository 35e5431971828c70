#include "formats/etl_source.h"

#include <gtest/gtest.h>

#include <array>

namespace varnel::formats {
namespace {

TEST(EtlMemorySource, GivesItsBytesInPlaceAndByCopyAndNoneBeyond) {
  const std::array<std::byte, 4> bytes = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}};
  EtlMemorySource source(bytes);
  EXPECT_EQ(source.Size(), 4u);
  EXPECT_EQ(source.View(1, 3).data(), bytes.data() + 1);
  EXPECT_TRUE(source.View(2, 3).empty());
  EXPECT_TRUE(source.View(~std::uint64_t{0}, 1).empty());
  std::array<std::byte, 2> copy = {};
  ASSERT_TRUE(source.Read(2, copy));
  EXPECT_EQ(copy[1], std::byte{4});
  EXPECT_FALSE(source.Read(3, copy));
}

}  // namespace
}  // namespace varnel::formats
