#include "formats/event_types.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(EventTypes, EveryNumberHasTheTraitsOfItself) {
  for (std::uint16_t number = 0; number <= 25; ++number) {
    EXPECT_EQ(static_cast<std::uint16_t>(TraitsOf(static_cast<InType>(number)).type), number);
  }
  for (std::uint16_t number = 300; number <= 310; ++number) {
    EXPECT_EQ(static_cast<std::uint16_t>(TraitsOf(static_cast<InType>(number)).type), number);
  }
}

TEST(EventTypes, ANumberWithoutANameCantBeMeasured) {
  for (const std::uint16_t number : {26, 28, 30, 299, 311, 65535}) {
    EXPECT_EQ(TraitsOf(static_cast<InType>(number)).rule, SizeRule::kUnknown) << number;
  }
}

TEST(EventTypes, NamesGiveTheirNumbersAndWhatIsNoneGivesNothing) {
  EXPECT_EQ(InTypeByName("UInt32"), InType::kUInt32);
  EXPECT_EQ(InTypeByName("38"), static_cast<InType>(38));
  EXPECT_FALSE(InTypeByName("").has_value());
  EXPECT_FALSE(InTypeByName("uint32").has_value());
  EXPECT_FALSE(InTypeByName("38x").has_value());
  EXPECT_FALSE(InTypeByName("65536").has_value());
  EXPECT_EQ(OutTypeByName("Pkcs7WithTypeInfo"), OutType::kPkcs7WithTypeInfo);
  EXPECT_EQ(OutTypeByName("DateTimeUtc"), OutType::kDateTimeUtc);
  EXPECT_FALSE(OutTypeByName("Nonsense").has_value());
}

TEST(EventTypes, SevenIntegersCanTellACount) {
  int counting = 0;
  for (std::uint16_t number = 0; number <= 310; ++number) counting += IsCountingType(static_cast<InType>(number));
  EXPECT_EQ(counting, 7);
  EXPECT_FALSE(IsCountingType(InType::kUInt64));
  EXPECT_FALSE(IsCountingType(InType::kPointer));
}

}  // namespace
}  // namespace varnel::formats
