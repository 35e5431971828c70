#include "formats/payload_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "layouts.h"
#include "payload_builder.h"

namespace varnel::formats {

static void PrintTo(const PropertyPlace& place, std::ostream* out) {
  *out << "at " << place.offset << " size " << place.size;
}

namespace {

using testing::Data;
using ::testing::ElementsAre;
using testing::PayloadBuilder;
using testing::TestLayout;

std::vector<PropertyPlace> Places(const EventLayout& layout, const std::vector<std::byte>& payload,
                                  std::uint8_t pointer_size = 8) {
  std::vector<PropertyPlace> places;
  const std::size_t count = PlaceProperties(layout, pointer_size, payload, &places);
  EXPECT_EQ(count, places.size());
  return places;
}

PropertyPlace At(std::uint32_t offset, std::uint32_t size) {
  return {offset, size};
}

PayloadBuilder Sid(std::uint8_t authorities) {
  PayloadBuilder builder;
  builder.U8(1).U8(authorities).Fill(5, 0).U8(5);
  for (int i = 0; i < authorities; ++i) builder.U32(18);
  return builder;
}

struct TypeRow {
  const char* type;
  const char* more;
  std::vector<std::byte> value;
};

class EveryInType : public ::testing::TestWithParam<TypeRow> {};

TEST_P(EveryInType, TakesItsBytesAndLeavesTheNextPropertyItsOwn) {
  const TypeRow& row = GetParam();
  const TestLayout layout(Data("First", "UInt8") + Data("Value", row.type, row.more) + Data("Last", "UInt16"));
  std::vector<std::byte> payload = {std::byte{9}};
  payload.insert(payload.end(), row.value.begin(), row.value.end());
  payload.insert(payload.end(), 2, std::byte{0x77});
  const auto size = static_cast<std::uint32_t>(row.value.size());
  EXPECT_THAT(Places(*layout, payload), ElementsAre(At(0, 1), At(1, size), At(1 + size, 2)));
}

TEST_P(EveryInType, IsMissingWhenItsLastByteIs) {
  const TypeRow& row = GetParam();
  const TestLayout layout(Data("Value", row.type, row.more));
  EXPECT_EQ(Places(*layout, row.value).size(), 1u);
  const auto cut = Places(*layout, {row.value.begin(), row.value.end() - 1});
  const std::string_view type = row.type;
  const bool ends_with_nul = (type == "UnicodeString" || type == "AnsiString") && std::string_view(row.more).empty();
  // Texts that a NUL ends take what is left instead.
  EXPECT_EQ(cut.size(), ends_with_nul ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    PayloadDecoder, EveryInType,
    ::testing::Values(
        TypeRow{"UnicodeString", "", PayloadBuilder().Wide(u"wide")},
        TypeRow{"UnicodeString", "length=\"3\"", PayloadBuilder().WideWithoutNul({u"a\0b", 3})},
        TypeRow{"AnsiString", "", PayloadBuilder().Text("narrow")},
        TypeRow{"AnsiString", "length=\"2\"", PayloadBuilder().TextWithoutNul("ab")},
        TypeRow{"Int8", "", PayloadBuilder().U8(1)}, TypeRow{"UInt8", "", PayloadBuilder().U8(1)},
        TypeRow{"Int16", "", PayloadBuilder().U16(1)}, TypeRow{"UInt16", "", PayloadBuilder().U16(1)},
        TypeRow{"Int32", "", PayloadBuilder().U32(1)}, TypeRow{"UInt32", "", PayloadBuilder().U32(1)},
        TypeRow{"Int64", "", PayloadBuilder().U64(1)}, TypeRow{"UInt64", "", PayloadBuilder().U64(1)},
        TypeRow{"Float", "", PayloadBuilder().F32(1)}, TypeRow{"Double", "", PayloadBuilder().F64(1)},
        TypeRow{"Boolean", "", PayloadBuilder().U32(1)}, TypeRow{"Binary", "length=\"5\"", PayloadBuilder().Fill(5, 1)},
        TypeRow{"Binary", "outType=\"win:IPv6\"", PayloadBuilder().Fill(16, 1)},
        TypeRow{"GUID", "", PayloadBuilder().Guid(GUID{})}, TypeRow{"Pointer", "", PayloadBuilder().U64(1)},
        TypeRow{"FILETIME", "", PayloadBuilder().U64(1)}, TypeRow{"SYSTEMTIME", "", PayloadBuilder().Fill(16, 1)},
        TypeRow{"SID", "", Sid(2)}, TypeRow{"HexInt32", "", PayloadBuilder().U32(1)},
        TypeRow{"HexInt64", "", PayloadBuilder().U64(1)},
        TypeRow{"CountedUnicodeString", "", PayloadBuilder().U16(4).WideWithoutNul(u"ab")},
        TypeRow{"CountedAnsiString", "", PayloadBuilder().U16(3).TextWithoutNul("abc")},
        TypeRow{"CountedBinary", "", PayloadBuilder().U16(2).U8(1).U8(2)},
        TypeRow{"300", "", PayloadBuilder().U16(2).U16('a')}, TypeRow{"301", "", PayloadBuilder().U16(1).U8('a')},
        TypeRow{"302", "", PayloadBuilder().U8(0).U8(2).U16('a')},
        TypeRow{"303", "", PayloadBuilder().U8(0).U8(1).U8('a')}, TypeRow{"306", "", PayloadBuilder().U16('a')},
        TypeRow{"307", "", PayloadBuilder().U8('a')}, TypeRow{"308", "", PayloadBuilder().U64(1)},
        TypeRow{"309", "", PayloadBuilder().U32(3).Fill(3, 1)},
        TypeRow{
            "310", "",
            PayloadBuilder().U64(1).U64(0).TextWithoutNul(std::string_view("\x01\x01\0\0\0\0\0\x05\x12\0\0\0", 12))}),
    [](const auto& info) { return std::string(info.param.type) + "_" + std::to_string(info.index); });

TEST(PayloadDecoder, PlacesTheSevenPropertiesOfAWardletEvent) {
  const TestLayout layout(Data("Counter", "UInt32") + Data("Flags", "UInt32") + Data("Function", "AnsiString") +
                          Data("CodeLine", "UInt32") + Data("status", "UInt32") + Data("BinaryCount", "UInt32") +
                          Data("AdditionalBinary", "UInt8", "count=\"BinaryCount\""));
  const auto payload = PayloadBuilder().U32(1).U32(2).Text("Main").U32(3).U32(4).U32(5).TextWithoutNul("12345").Build();
  EXPECT_THAT(Places(*layout, payload),
              ElementsAre(At(0, 4), At(4, 4), At(8, 5), At(13, 4), At(17, 4), At(21, 4), At(25, 5)));
}

TEST(PayloadDecoder, APointerIsAsWideAsTheEventsWriterHadIt) {
  const TestLayout layout(Data("P", "Pointer") + Data("N", "308") + Data("Last", "UInt8"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U64(1).U64(2).U8(3), 8), ElementsAre(At(0, 8), At(8, 8), At(16, 1)));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U32(1).U32(2).U8(3), 4), ElementsAre(At(0, 4), At(4, 4), At(8, 1)));
}

TEST(PayloadDecoder, BytesBehindTheLastPropertyAreNoFault) {
  const TestLayout layout(Data("A", "UInt32"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U32(1).U32(2)), ElementsAre(At(0, 4)));
}

TEST(PayloadDecoder, WhatStandsBeforeAMissingPropertyStaysReadable) {
  const TestLayout layout(Data("A", "UInt32") + Data("B", "UInt64") + Data("C", "UInt8"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U32(1).U32(2).U16(3)), ElementsAre(At(0, 4)))
      << "C would fit, but it stands behind B";
}

TEST(PayloadDecoder, ATextWithoutANulTakesWhatIsLeft) {
  const TestLayout wide(Data("A", "UInt8") + Data("T", "UnicodeString"));
  EXPECT_THAT(Places(*wide, PayloadBuilder().U8(1).WideWithoutNul(u"ab")), ElementsAre(At(0, 1), At(1, 4)));
  EXPECT_THAT(Places(*wide, PayloadBuilder().U8(1).WideWithoutNul(u"ab").U8(7)), ElementsAre(At(0, 1), At(1, 5)));
  const TestLayout narrow(Data("A", "UInt8") + Data("T", "AnsiString"));
  EXPECT_THAT(Places(*narrow, PayloadBuilder().U8(1).TextWithoutNul("abc")), ElementsAre(At(0, 1), At(1, 3)));
}

TEST(PayloadDecoder, ATextWithNoBytesLeftIsEmptyAndNotMissing) {
  const TestLayout layout(Data("A", "UInt8") + Data("W", "UnicodeString") + Data("N", "AnsiString"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U8(1)), ElementsAre(At(0, 1), At(1, 0), At(1, 0)));
}

TEST(PayloadDecoder, AWideTextEndsAtAWholeZeroCharacterOnly) {
  const TestLayout layout(Data("T", "UnicodeString") + Data("A", "UInt8"));
  // The bytes 00 00 stand across two characters first.
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(0x0061).U16(0x6100).U16(0).U8(1)), ElementsAre(At(0, 6), At(6, 1)));
}

TEST(PayloadDecoder, ALengthByAnotherFieldCountsCharactersOfTextsAndBytesOfBinaryData) {
  const TestLayout layout(Data("L", "UInt16") + Data("W", "UnicodeString", "length=\"L\"") +
                          Data("N", "AnsiString", "length=\"L\"") + Data("B", "Binary", "length=\"L\""));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(3).WideWithoutNul(u"abc").TextWithoutNul("abc").Fill(3, 1)),
              ElementsAre(At(0, 2), At(2, 6), At(8, 3), At(11, 3)));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(0)), ElementsAre(At(0, 2), At(2, 0), At(2, 0), At(2, 0)));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(3).WideWithoutNul(u"ab")), ElementsAre(At(0, 2)));
}

TEST(PayloadDecoder, EachIntegerOfUpTo32BitsCanTellACount) {
  struct Row {
    const char* type;
    std::vector<std::byte> count;
  };
  const Row rows[] = {{"Int8", PayloadBuilder().U8(2)},     {"UInt8", PayloadBuilder().U8(2)},
                      {"Int16", PayloadBuilder().U16(2)},   {"UInt16", PayloadBuilder().U16(2)},
                      {"Int32", PayloadBuilder().U32(2)},   {"UInt32", PayloadBuilder().U32(2)},
                      {"HexInt32", PayloadBuilder().U32(2)}};
  for (const Row& row : rows) {
    const TestLayout layout(Data("N", row.type) + Data("A", "UInt16", "count=\"N\""));
    std::vector<std::byte> payload = row.count;
    payload.insert(payload.end(), 6, std::byte{1});
    const auto size = static_cast<std::uint32_t>(row.count.size());
    EXPECT_THAT(Places(*layout, payload), ElementsAre(At(0, size), At(size, 4))) << row.type;
  }
}

TEST(PayloadDecoder, AnIntegerOf64BitsTellsACountOfNone) {
  const TestLayout layout(Data("N", "UInt64") + Data("A", "UInt16", "count=\"N\""));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U64(2).U64(0)), ElementsAre(At(0, 8), At(8, 0)));
}

TEST(PayloadDecoder, ACountAbove65535IsTakenAs65535) {
  const TestLayout layout(Data("N", "UInt32") + Data("A", "UInt8", "count=\"N\""));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U32(0x10001).Fill(0xFFFF, 1)), ElementsAre(At(0, 4), At(4, 0xFFFF)));
}

TEST(PayloadDecoder, AnArrayOfWhichOneElementIsMissingIsMissing) {
  const TestLayout layout(Data("N", "UInt8") + Data("A", "UInt32", "count=\"N\""));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U8(3).U32(1).U32(2).U16(3)), ElementsAre(At(0, 1)));
}

TEST(PayloadDecoder, ArraysHaveFixedCountsAndElementsOfDifferentSizes) {
  const TestLayout layout(Data("A", "UInt16", "count=\"2\"") + Data("T", "AnsiString", "count=\"3\"") +
                          Data("E", "UInt8"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(1).U16(2).Text("a").Text("").Text("bcd").U8(1)),
              ElementsAre(At(0, 4), At(4, 7), At(11, 1)));
}

TEST(PayloadDecoder, AStructureIsItsMembersOneBehindTheOther) {
  const TestLayout layout(Data("N", "UInt8") + "<struct name=\"S\" count=\"N\">" + Data("L", "UInt8") +
                          Data("T", "AnsiString", "length=\"L\"") + "</struct>" + Data("E", "UInt16"));
  const auto payload = PayloadBuilder().U8(2).U8(1).TextWithoutNul("a").U8(3).TextWithoutNul("bcd").U16(9).Build();
  EXPECT_THAT(Places(*layout, payload), ElementsAre(At(0, 1), At(1, 6), At(7, 2)))
      << "each instance has its own length";
  EXPECT_THAT(Places(*layout, PayloadBuilder().U8(0).U16(9)), ElementsAre(At(0, 1), At(1, 0), At(1, 2)))
      << "none takes no bytes";
}

TEST(PayloadDecoder, FindsAnElementAndAMemberOfAnInstance) {
  const TestLayout layout(Data("N", "UInt8") + "<struct name=\"S\" count=\"N\">" + Data("L", "UInt8") +
                          Data("T", "AnsiString", "length=\"L\"") + "</struct>");
  const auto payload = PayloadBuilder().U8(2).U8(1).TextWithoutNul("a").U8(3).TextWithoutNul("bcd").Build();
  const auto places = Places(*layout, payload);
  PayloadWalker walker(*layout, 8, payload);
  PropertyPlace place;
  ASSERT_TRUE(PlaceElement(&walker, 1, 1, places, &place));
  EXPECT_EQ(place, At(3, 4));
  ASSERT_TRUE(PlaceMember(&walker, 1, 1, 3, places, &place));
  EXPECT_EQ(place, At(4, 3));
  ASSERT_TRUE(PlaceMember(&walker, 1, 0, 2, places, &place));
  EXPECT_EQ(place, At(1, 1));
  EXPECT_FALSE(PlaceMember(&walker, 1, 2, 2, places, &place)) << "there is no third instance";
  EXPECT_FALSE(PlaceElement(&walker, 5, 0, places, &place)) << "there is no such property";
}

TEST(PayloadDecoder, ATypeThatIsNotKnownEndsWhatCanBeRead) {
  const TestLayout layout(Data("A", "UInt8") + Data("X", "28") + Data("B", "UInt8"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().Fill(16, 1)), ElementsAre(At(0, 1)));
}

TEST(PayloadDecoder, BinaryDataWithoutAnyLengthEndsWhatCanBeRead) {
  const TestLayout layout(Data("A", "UInt8") + Data("B", "Binary"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().Fill(16, 1)), ElementsAre(At(0, 1)));
}

TEST(PayloadDecoder, TheTextsThatTakeTheRestTakeIt) {
  const TestLayout layout(Data("A", "UInt8") + Data("T", "305"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U8(1).TextWithoutNul("a")), ElementsAre(At(0, 1), At(1, 1)));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U8(1).Fill(7, 0)), ElementsAre(At(0, 1), At(1, 7)));
}

TEST(PayloadDecoder, ASidOfNullBehindItsPointersIsThePointersAlone) {
  const TestLayout layout(Data("S", "310") + Data("E", "UInt8"));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U64(0).U64(0).U8(1)), ElementsAre(At(0, 16), At(16, 1)));
  EXPECT_THAT(Places(*layout, PayloadBuilder().U32(0).U32(0).U8(1), 4), ElementsAre(At(0, 8), At(8, 1)));
}

TEST(PayloadDecoder, AnEmptyPayloadHasNothing) {
  const TestLayout layout(Data("A", "UInt8"));
  EXPECT_TRUE(Places(*layout, {}).empty());
  const TestLayout none("");
  EXPECT_TRUE(Places(*none, PayloadBuilder().U8(1)).empty());
}

TEST(PayloadDecoder, MoreLengthFieldsThanUsualWork) {
  std::string body;
  PayloadBuilder builder;
  for (int i = 0; i < 40; ++i) {
    body += Data("L" + std::to_string(i), "UInt8") +
            Data("B" + std::to_string(i), "Binary", "length=\"L" + std::to_string(i) + "\"");
    builder.U8(static_cast<std::uint8_t>(i)).Fill(static_cast<std::size_t>(i), 1);
  }
  const TestLayout layout(body);
  const auto places = Places(*layout, builder);
  ASSERT_EQ(places.size(), 80u);
  EXPECT_EQ(places[79].size, 39u);
}

TEST(PayloadDecoder, AFewBytesCantAskForEndlessEmptyElements) {
  const TestLayout layout(Data("N", "UInt16") + "<struct name=\"S\" count=\"N\">" +
                          Data("T", "AnsiString", "count=\"65535\"") + "</struct>");
  EXPECT_THAT(Places(*layout, PayloadBuilder().U16(0xFFFF)), ElementsAre(At(0, 2)));
}

}  // namespace
}  // namespace varnel::formats
