#include "formats/event_layout.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

PropertyLayout Named(const char* name, InType type) {
  PropertyLayout property;
  property.name = name;
  property.in_type = type;
  return property;
}

TEST(EventLayout, FindsTheFirstOfEqualNamesWithinTheRange) {
  EventLayout layout;
  layout.properties = {Named("a", InType::kUInt8), Named("b", InType::kUInt8), Named("a", InType::kUInt16)};
  EXPECT_EQ(layout.Find("a", 0, 3), 0);
  EXPECT_EQ(layout.Find("a", 1, 2), 2);
  EXPECT_EQ(layout.Find("a", 1, 1), -1);
  EXPECT_EQ(layout.Find("A", 0, 3), -1) << "case counts";
  EXPECT_EQ(layout.Find("a", 2, 99), 2) << "a range beyond the end";
}

TEST(EventLayout, OnlyPropertiesThatOthersNeedAreRemembered) {
  EventLayout layout;
  layout.properties = {Named("n", InType::kUInt8), Named("m", InType::kUInt8), Named("x", InType::kBinary)};
  layout.properties[2].length = {Told::kByField, 1};
  layout.properties[2].count = {Told::kByField, 1};
  FinishLayout(&layout);
  EXPECT_EQ(layout.slot_count, 1);
  EXPECT_EQ(layout.properties[0].slot, PropertyLayout::kNoSlot);
  EXPECT_EQ(layout.properties[1].slot, 0);
  EXPECT_EQ(layout.properties[0].rule, SizeRule::kFixed);
  EXPECT_EQ(layout.properties[0].size, 1);
}

}  // namespace
}  // namespace varnel::formats
