#include "platform/embedded/crashdump/kernel_pool.h"

#include <gtest/gtest.h>

#include <array>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kBegin = 0xFFFFCA8012340000;

class KernelPoolTest : public testing::Test {
 protected:
  PhysicalMemory memory_{64 << 20};
  AddressMap map_{&memory_, 4};
  KernelPool pool_{&map_, kBegin};
};

TEST_F(KernelPoolTest, BlocksDoNotOverlap) {
  const std::uint64_t first = pool_.Take(17);
  const std::uint64_t second = pool_.Take(5000);
  EXPECT_EQ(first % 16, 0u);
  EXPECT_GE(second, first + 17);
  map_.Put<std::uint8_t>(second + 4999, 7);
  EXPECT_GE(pool_.Take(1), second + 5000);
}

TEST_F(KernelPoolTest, AStringIsCountedInBytesAndStandsElsewhere) {
  const std::uint64_t record = pool_.Take(16);
  pool_.PutString(record, u"abc");
  std::array<std::byte, 16> bytes{};
  map_.Read(record, bytes);
  EXPECT_EQ(Load<std::uint16_t>(bytes, 0), 6);
  std::array<std::byte, 6> text{};
  map_.Read(Load<std::uint64_t>(bytes, 8), text);
  EXPECT_EQ(Load<std::uint16_t>(text, 4), u'c');
}

TEST_F(KernelPoolTest, AnEmptyStringHasNoPlace) {
  const std::uint64_t record = pool_.Take(16);
  pool_.PutString(record, u"");
  std::array<std::byte, 16> bytes{};
  map_.Read(record, bytes);
  EXPECT_EQ(Load<std::uint64_t>(bytes, 8), 0u);
}

}  // namespace
}  // namespace varnel::embedded
