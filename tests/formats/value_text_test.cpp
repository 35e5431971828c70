#include "formats/value_text.h"

#include <gtest/gtest.h>

#include <cmath>

#include "payload_builder.h"

namespace varnel::formats {
namespace {

using testing::PayloadBuilder;

TEST(ValueText, HexadecimalHasUpperCaseDigitsAndNoLeadingZeros) {
  EXPECT_EQ(HexText(0), "0x0");
  EXPECT_EQ(HexText(0xC0000005), "0xC0000005");
  EXPECT_EQ(HexText(~std::uint64_t{0}), "0xFFFFFFFFFFFFFFFF");
  EXPECT_EQ(HexBytesText(PayloadBuilder().U8(0).U8(0xFE).Build()), "0x00FE");
  EXPECT_EQ(HexBytesText({}), "0x");
}

TEST(ValueText, FileTimesAreDatesOfTheirCalendar) {
  EXPECT_EQ(FileTimeText(0), "1601-01-01T00:00:00.0000000Z");
  EXPECT_EQ(FileTimeText(116444736000000000), "1970-01-01T00:00:00.0000000Z");
  EXPECT_EQ(FileTimeText(116444736000000000 + 951782400ull * 10'000'000), "2000-02-29T00:00:00.0000000Z");
  EXPECT_EQ(FileTimeText(116444736000000000 + 978220800ull * 10'000'000), "2000-12-31T00:00:00.0000000Z");
  EXPECT_EQ(FileTimeText(116444736000000000 + 4107542400ull * 10'000'000), "2100-03-01T00:00:00.0000000Z");
  EXPECT_EQ(FileTimeText(132639315691234567), "2021-04-26T17:26:09.1234567Z");
  EXPECT_EQ(FileTimeText(~std::uint64_t{0}), "60056-05-28T05:36:10.9551615Z") << "nothing overflows";
}

TEST(ValueText, SystemTimesAreShownAsTheyStand) {
  const auto bytes = PayloadBuilder().U16(2026).U16(11).U16(6).U16(21).U16(15).U16(8).U16(7).U16(9).Build();
  EXPECT_EQ(SystemTimeText(bytes), "2026-11-21T15:08:07.009Z");
}

TEST(ValueText, SecurityIdentifiersListTheirAuthorities) {
  EXPECT_EQ(SidText(PayloadBuilder().U8(1).U8(1).Fill(5, 0).U8(5).U32(18).Build()), "S-1-5-18");
  EXPECT_EQ(SidText(PayloadBuilder().U8(1).U8(2).Fill(5, 0).U8(16).U32(0xFFFFFFFF).U32(4096).Build()),
            "S-1-16-4294967295-4096");
  EXPECT_EQ(SidText(PayloadBuilder().U8(1).U8(3).Build()), "0x0103") << "what is none is shown as its bytes";
}

TEST(ValueText, AddressesAreInTheOrderOfTheNetwork) {
  EXPECT_EQ(IpV4Text(PayloadBuilder().U8(10).U8(0).U8(0).U8(1).Build()), "10.0.0.1");
  EXPECT_EQ(IpV6Text(PayloadBuilder().Fill(15, 0).U8(1).Build()), "::1");
  EXPECT_EQ(IpV6Text(PayloadBuilder().Fill(16, 0).Build()), "::");
  EXPECT_EQ(IpV6Text(PayloadBuilder().U8(0xFE).U8(0x80).Fill(6, 0).Fill(7, 0).U8(0xAB).Build()), "fe80::ab");
  EXPECT_EQ(IpV6Text(PayloadBuilder().Fill(2, 0x11).Fill(2, 0).Fill(2, 0x22).Fill(6, 0).Fill(4, 0x33).Build()),
            "1111:0:2222::3333:3333")
      << "one zero group alone is not left out";
  EXPECT_EQ(IpV6Text(PayloadBuilder().Fill(14, 0x11).Fill(2, 0).Build()), "1111:1111:1111:1111:1111:1111:1111:0");
  EXPECT_EQ(IpV6Text(PayloadBuilder().Fill(12, 0x11).Fill(4, 0).Build()), "1111:1111:1111:1111:1111:1111::");
}

TEST(ValueText, SocketAddressesCarryTheirPort) {
  EXPECT_EQ(SocketAddressText(PayloadBuilder().U16(2).U8(0).U8(80).U8(127).U8(0).U8(0).U8(1).Fill(8, 0).Build()),
            "127.0.0.1:80");
  EXPECT_EQ(SocketAddressText(PayloadBuilder().U16(23).U8(1).U8(0).U32(0).Fill(15, 0).U8(1).U32(0).Build()),
            "[::1]:256");
  EXPECT_EQ(SocketAddressText(PayloadBuilder().U16(1).U16(2).Build()), "0x01000200");
}

TEST(ValueText, FloatingNumbersAreAsShortAsTheyCanBe) {
  EXPECT_EQ(FloatText(0.1f), "0.1");
  EXPECT_EQ(DoubleText(0.1), "0.1");
  EXPECT_EQ(DoubleText(-1e300), "-1e+300");
  EXPECT_EQ(FloatText(INFINITY), "inf");
  EXPECT_EQ(DoubleText(NAN), "nan");
}

}  // namespace
}  // namespace varnel::formats
