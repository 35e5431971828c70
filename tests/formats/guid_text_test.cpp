#include "formats/guid_text.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

constexpr GUID kGuid = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};

TEST(GuidText, ReadsEitherCaseWithAndWithoutBraces) {
  for (const char* text : {"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}", "{d8909c24-5be9-4502-98ca-ab7bdc24899d}",
                           "D8909C24-5BE9-4502-98CA-AB7BDC24899D"}) {
    const auto guid = ParseGuid(text);
    ASSERT_TRUE(guid.has_value()) << text;
    EXPECT_TRUE(*guid == kGuid) << text;
  }
}

TEST(GuidText, WritesBracesAndUpperCase) {
  EXPECT_EQ(FormatGuid(kGuid), "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
  EXPECT_EQ(FormatGuid(GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

TEST(GuidText, RefusesWhatIsNoGuid) {
  for (const char* text : {"", "{}", "{D8909C24-5BE9-4502-98CA-AB7BDC24899D", "D8909C24-5BE9-4502-98CA-AB7BDC24899D}",
                           "{D8909C24-5BE9-4502-98CA-AB7BDC24899G}", "{D8909C24-5BE9-4502-98CAA-B7BDC24899D}",
                           "{D8909C24-5BE9-4502-98CA-AB7BDC24899D} ", "D8909C245BE9450298CAAB7BDC24899D"}) {
    EXPECT_FALSE(ParseGuid(text).has_value()) << text;
  }
}

TEST(GuidText, GuidsThatDifferInOneDigitHashApart) {
  GUID other = kGuid;
  other.Data1 += 1;
  EXPECT_NE(GuidHash{}(kGuid), GuidHash{}(other));
}

}  // namespace
}  // namespace varnel::formats
