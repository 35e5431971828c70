#include "pipeline/number_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace varnel {
namespace {

class NumberTextTest : public ::testing::Test {
 protected:
  std::string Hex(std::uint64_t value) { return Taken(FormatHex(value, text_)); }
  std::string Unsigned(std::uint32_t value) { return Taken(FormatUnsigned(value, text_)); }
  std::string Signed(std::int32_t value) { return Taken(FormatSigned(value, text_)); }
  std::string Fixed(double value) { return Taken(FormatFixed(value, text_)); }

 private:
  std::string Taken(std::size_t length) {
    EXPECT_EQ(text_[length], '\0');
    return {text_.data(), length};
  }
  std::array<char, kNumberTextCapacity> text_{};
};

TEST_F(NumberTextTest, HexHasNoLeadingZerosAndUpperCaseDigits) {
  EXPECT_EQ(Hex(0), "0x0");
  EXPECT_EQ(Hex(0xF), "0xF");
  EXPECT_EQ(Hex(0x10), "0x10");
  EXPECT_EQ(Hex(0x1DC9ABCDEF01234), "0x1DC9ABCDEF01234");
  EXPECT_EQ(Hex(~0ull), "0xFFFFFFFFFFFFFFFF");
}

TEST_F(NumberTextTest, SignedAndUnsignedAreDecimal) {
  EXPECT_EQ(Unsigned(4294967295u), "4294967295");
  EXPECT_EQ(Signed(-1), "-1");
  EXPECT_EQ(Signed(std::numeric_limits<std::int32_t>::min()), "-2147483648");
}

TEST_F(NumberTextTest, FixedHasSixDigitsBehindThePoint) {
  EXPECT_EQ(Fixed(0), "0.000000");
  EXPECT_EQ(Fixed(-1.5), "-1.500000");
  EXPECT_EQ(Fixed(0.0000005), "0.000000");
  EXPECT_EQ(Fixed(std::numeric_limits<double>::infinity()), "inf");
}

TEST_F(NumberTextTest, FixedCutsANumberThatDoesNotFit) {
  const std::string text = Fixed(std::numeric_limits<double>::max());
  EXPECT_EQ(text.size(), kNumberTextCapacity - 1);
  EXPECT_EQ(text.substr(0, 10), "1797693134");
}

TEST_F(NumberTextTest, RandomNumbersReadAsTheCLibraryPrintsThem) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t value = random() >> (random() % 64);
    std::array<char, 512> expected{};
    std::snprintf(expected.data(), expected.size(), "0x%llX", static_cast<unsigned long long>(value));
    ASSERT_EQ(Hex(value), expected.data());
    const double number = static_cast<double>(static_cast<std::int64_t>(random())) / static_cast<double>(1 + value);
    std::snprintf(expected.data(), expected.size(), "%f", number);
    ASSERT_EQ(Fixed(number), expected.data());
  }
}

TEST(WriteByteList, JoinsBytesWithACommaAndABlank) {
  const std::vector<std::uint8_t> bytes{0x00, 0x0A, 0xFF};
  std::vector<char> text(ByteListCapacity(bytes.size()), 'x');
  WriteByteList(bytes, text.data());
  EXPECT_STREQ(text.data(), "0x00, 0x0A, 0xFF");
}

TEST(WriteByteList, NoBytesGiveAnEmptyText) {
  char text = 'x';
  WriteByteList({}, &text);
  EXPECT_EQ(text, '\0');
}

}  // namespace
}  // namespace varnel
