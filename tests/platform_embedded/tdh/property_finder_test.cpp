#include "platform/embedded/tdh/property_finder.h"

#include <gtest/gtest.h>

#include "layouts.h"
#include "payload_builder.h"

namespace varnel::embedded {
namespace {

using formats::PropertyPlace;
using testing::Data;
using testing::PayloadBuilder;

class PropertyFinder : public ::testing::Test {
 protected:
  PropertyFinder()
      : schema_(*testing::TestLayout(Data("N", "UInt8") + "<struct name=\"S\" count=\"N\">" + Data("L", "UInt8") +
                                     Data("A", "UInt16", "count=\"L\"") + "</struct>" + Data("E", "UInt8")),
                GUID{}, "P", 0, 0) {}

  DecodedRecord Record(std::vector<std::byte> payload) {
    payload_ = std::move(payload);
    formats::PlaceProperties(schema_.layout(), 8, payload_, &places_);
    return {schema_, 8, payload_, places_};
  }

  EventSchema schema_;
  std::vector<std::byte> payload_;
  std::vector<PropertyPlace> places_;
  PropertyPlace place_;
};

TEST_F(PropertyFinder, ASinglePropertyIsTheWholeAndItsFirstElement) {
  const auto record = Record(PayloadBuilder().U8(0).U8(5));
  EXPECT_EQ(FindTopLevelValue(record, 2, kWholeProperty, &place_), 0u);
  EXPECT_EQ(place_, (PropertyPlace{1, 1}));
  EXPECT_EQ(FindTopLevelValue(record, 2, 0, &place_), 0u);
  EXPECT_EQ(FindTopLevelValue(record, 2, 1, &place_), 87u);
}

TEST_F(PropertyFinder, ElementsOfAnArrayOfNoneAreNotThere) {
  const auto record = Record(PayloadBuilder().U8(0).U8(5));
  EXPECT_EQ(FindTopLevelValue(record, 1, kWholeProperty, &place_), 0u);
  EXPECT_EQ(place_.size, 0u);
  EXPECT_EQ(FindTopLevelValue(record, 1, 0, &place_), 87u);
}

TEST_F(PropertyFinder, MembersAreThoseOfTheInstanceThatIsNamed) {
  const auto record = Record(PayloadBuilder().U8(2).U8(1).U16(1).U8(2).U16(2).U16(3).U8(9));
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 0, kWholeProperty, &place_), 0u);
  EXPECT_EQ(place_, (PropertyPlace{2, 2}));
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 1, kWholeProperty, &place_), 0u);
  EXPECT_EQ(place_, (PropertyPlace{5, 4}));
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 1, 1, &place_), 0u);
  EXPECT_EQ(place_, (PropertyPlace{7, 2}));
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 1, 2, &place_), 87u);
  EXPECT_EQ(FindMemberValue(record, 1, u"L", 1, 0, &place_), 0u);
  EXPECT_EQ(FindMemberValue(record, 1, u"L", 1, 1, &place_), 87u);
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 2, kWholeProperty, &place_), 87u);
  EXPECT_EQ(FindMemberValue(record, 1, u"A", kWholeProperty, kWholeProperty, &place_), 87u)
      << "which of the two is not told";
  EXPECT_EQ(FindMemberValue(record, 1, u"E", 0, kWholeProperty, &place_), 1168u);
  EXPECT_EQ(FindMemberValue(record, 2, u"A", 0, kWholeProperty, &place_), 1168u);
}

TEST_F(PropertyFinder, WhatThePayloadDoesNotHoldIsInvalidData) {
  const auto record = Record(PayloadBuilder().U8(2).U8(1).U16(1).U8(2).U16(2));
  EXPECT_EQ(FindTopLevelValue(record, 0, kWholeProperty, &place_), 0u);
  EXPECT_EQ(FindTopLevelValue(record, 1, kWholeProperty, &place_), 15005u);
  EXPECT_EQ(FindTopLevelValue(record, 1, 0, &place_), 15005u);
  EXPECT_EQ(FindMemberValue(record, 1, u"A", 0, kWholeProperty, &place_), 15005u);
  EXPECT_EQ(FindTopLevelValue(record, 2, kWholeProperty, &place_), 15005u);
}

}  // namespace
}  // namespace varnel::embedded
