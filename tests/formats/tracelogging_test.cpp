#include "formats/tracelogging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/payload_format.h"
#include "tracelogging_builder.h"

namespace varnel::formats {
namespace {

using ::testing::ElementsAre;
using testing::PayloadBuilder;
using testing::ProviderTraits;
using testing::TraceLoggingBuilder;

EventLayout Read(const TraceLoggingBuilder& builder) {
  auto result = ReadTraceLoggingSchema(builder.Build());
  EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().message);
  return result.ok() ? std::move(result).value() : EventLayout{};
}

std::vector<std::string> Names(const EventLayout& layout) {
  std::vector<std::string> names;
  for (const PropertyLayout& property : layout.properties) names.push_back(property.name);
  return names;
}

std::string JsonOf(const TraceLoggingBuilder& schema, const PayloadBuilder& payload) {
  const EventLayout layout = Read(schema);
  std::vector<DecodedProperty> properties;
  const auto bytes = payload.Build();
  EXPECT_TRUE(FormatPayload(layout, 8, bytes, &properties));
  std::string out;
  AppendJsonObject(properties, &out);
  return out;
}

TEST(TraceLogging, ReadsTheNameAndTheFieldsWithTheirTypes) {
  const EventLayout layout = Read(TraceLoggingBuilder("Started").Field("a", 8).Field("b", 8, 18).Field("c", 1));
  EXPECT_EQ(layout.name, "Started");
  EXPECT_EQ(layout.top_level_count, 3);
  EXPECT_THAT(Names(layout), ElementsAre("a", "b", "c"));
  EXPECT_EQ(layout.properties[0].in_type, InType::kUInt32);
  EXPECT_EQ(layout.properties[0].out_type, OutType::kUnsignedInt) << "the default of the in-type";
  EXPECT_EQ(layout.properties[1].out_type, OutType::kHexInt32);
  EXPECT_EQ(layout.properties[2].in_type, InType::kUnicodeString);
}

TEST(TraceLogging, SkipsTheTagsOfTheEventAndOfFields) {
  auto body =
      PayloadBuilder().U8(0x81).U8(0x80).U8(0x05).Text("E").Text("f").U8(0x88).U8(0x80).U8(0xFF).U8(1).Text("g").U8(4);
  const auto bytes = body.Build();
  auto item = PayloadBuilder().U16(static_cast<std::uint16_t>(bytes.size() + 2)).Build();
  item.insert(item.end(), bytes.begin(), bytes.end());
  const auto result = ReadTraceLoggingSchema(item);
  ASSERT_TRUE(result.ok()) << result.error().message;
  EXPECT_EQ(result.value().name, "E");
  EXPECT_THAT(Names(result.value()), ElementsAre("f", "g"));
}

TEST(TraceLogging, AConstantCountStandsInTheDescription) {
  const auto schema = TraceLoggingBuilder("E").Field("a", 6 | 0x20).Raw({3, 0}).Field("b", 4);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(1).U16(2).U16(3).U8(9)), R"({"a":[1,2,3],"b":9})");
}

TEST(TraceLogging, AVariableCountStandsInThePayloadAndBecomesAPropertyForThePlatform) {
  const auto schema = TraceLoggingBuilder("E").Field("a", 6 | 0x40).Field("b", 4);
  EXPECT_THAT(Names(Read(schema)), ElementsAre("a.Count", "a", "b"));
  EXPECT_TRUE(Read(schema).properties[0].is_implied);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(2).U16(7).U16(8).U8(9)), R"({"a":[7,8],"b":9})");
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(0).U8(9)), R"({"a":[],"b":9})");
}

TEST(TraceLogging, BinaryDataStandsBehindItsLength) {
  const auto schema = TraceLoggingBuilder("E").Field("a", 14).Field("b", 4);
  EXPECT_THAT(Names(Read(schema)), ElementsAre("a.Length", "a", "b"));
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(2).U8(1).U8(2).U8(9)), R"({"a":"0x0102","b":9})");
}

TEST(TraceLogging, EachBinaryElementOfAnArrayHasALengthOfItsOwn) {
  const auto schema = TraceLoggingBuilder("E").Field("a", 14 | 0x40);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(2).U16(1).U8(1).U16(2).U8(2).U8(3)), R"({"a":["0x01","0x0203"]})");
}

TEST(TraceLogging, CountedTextsStandBehindTheirByteCount) {
  const auto schema = TraceLoggingBuilder("E").Field("w", 22).Field("n", 23).Field("x", 25);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(2).U16('w').U16(1).U8('n').U16(1).U8(7)),
            R"({"w":"w","n":"n","x":"0x07"})");
}

TEST(TraceLogging, StructuresNestAndAreLaidOutLevelByLevel) {
  const auto schema = TraceLoggingBuilder("E").Struct("s", 2).Field("x", 4).Struct("t", 1).Field("y", 6).Field("z", 4);
  const EventLayout layout = Read(schema);
  EXPECT_THAT(Names(layout), ElementsAre("s", "z", "x", "t", "y"));
  EXPECT_EQ(layout.properties[0].first_member, 2);
  EXPECT_EQ(layout.properties[0].member_count, 2);
  EXPECT_EQ(layout.properties[3].first_member, 4);
  EXPECT_EQ(layout.properties[3].member_count, 1);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U8(1).U16(2).U8(3)), R"({"s":{"x":1,"t":{"y":2}},"z":3})");
}

TEST(TraceLogging, AStructureCanBeCountedByThePayload) {
  const auto schema = TraceLoggingBuilder("E").Field("s", 24 | 0x40, 1).Field("t", 2).Field("z", 4);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(2).Text("a").Text("b").U8(3)), R"({"s":[{"t":"a"},{"t":"b"}],"z":3})");
}

TEST(TraceLogging, ACustomSerialisationIsAByteCountAndItsBytes) {
  const auto schema = TraceLoggingBuilder("E").Field("c", 4 | 0x60).Raw({2, 0, 0xAA, 0xBB}).Field("z", 4);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(1).U8(5).U8(3)), R"({"c":"0x05","z":3})");
}

TEST(TraceLogging, AnEventCanHaveNoFields) {
  EXPECT_TRUE(Read(TraceLoggingBuilder("Alone")).properties.empty());
}

TEST(TraceLogging, RefusesADescriptionThatIsCutAnywhere) {
  const auto whole = TraceLoggingBuilder("E").Field("a", 6 | 0x20).Raw({3, 0}).Build();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(ReadTraceLoggingSchema(std::span(whole).first(size)).ok()) << size;
  }
  auto cut = [&](std::size_t size) {
    std::vector<std::byte> bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    bytes[0] = static_cast<std::byte>(size);
    return ReadTraceLoggingSchema(bytes);
  };
  EXPECT_FALSE(cut(3).ok()) << "no name";
  EXPECT_FALSE(cut(6).ok()) << "a field's name alone";
  EXPECT_FALSE(cut(7).ok()) << "no type behind the name";
  EXPECT_FALSE(cut(9).ok()) << "half of a count";
  EXPECT_TRUE(cut(10).ok());
}

TEST(TraceLogging, RefusesAStructureWithFewerFieldsThanItSaysAndEndlessNesting) {
  EXPECT_FALSE(ReadTraceLoggingSchema(TraceLoggingBuilder("E").Struct("s", 2).Field("x", 4).Build()).ok());
  TraceLoggingBuilder deep("E");
  for (int i = 0; i < 100; ++i) deep.Struct("s", 1);
  deep.Field("x", 4);
  const auto result = ReadTraceLoggingSchema(deep.Build());
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.error().message, "TraceLogging description: structures stand too deep in each other");
}

TEST(TraceLogging, ReadsTheProvidersNameOfItsTraits) {
  EXPECT_EQ(ReadProviderName(ProviderTraits("My.Provider")), "My.Provider");
  EXPECT_EQ(ReadProviderName({}), "");
  const auto without_nul = PayloadBuilder().U16(4).TextWithoutNul("ab").Build();
  EXPECT_EQ(ReadProviderName(without_nul), "");
  const auto too_long = PayloadBuilder().U16(400).Text("ab").Build();
  EXPECT_EQ(ReadProviderName(too_long), "");
}

TEST(TraceLogging, AByteIsTrueOrFalseOnlyWhereItsOutTypeSaysSo) {
  const auto schema = TraceLoggingBuilder("E").Field("plain", 4).Field("byte", 4, 3).Field("boolean", 4, 13);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U8(1).U8(1).U8(1)), R"({"plain":1,"byte":1,"boolean":true})");
}

TEST(TraceLogging, AnEmptyTextIsAnEmptyTextAndWhatIsBehindItIsRead) {
  const auto schema = TraceLoggingBuilder("E").Field("wide", 1).Field("narrow", 2).Field("number", 8);
  EXPECT_EQ(JsonOf(schema, PayloadBuilder().U16(0).U8(0).U32(7)), R"({"wide":"","narrow":"","number":7})");
}

}  // namespace
}  // namespace varnel::formats
