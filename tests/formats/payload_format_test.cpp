#include "formats/payload_format.h"

#include <gtest/gtest.h>

#include <cmath>

#include "layouts.h"
#include "payload_builder.h"

namespace varnel::formats {
namespace {

using testing::Data;
using testing::PayloadBuilder;
using testing::TestLayout;

std::string JsonOf(const EventLayout& layout, const std::vector<std::byte>& payload, std::uint8_t pointer_size = 8) {
  std::vector<DecodedProperty> properties;
  FormatPayload(layout, pointer_size, payload, &properties);
  std::string out;
  AppendJsonObject(properties, &out);
  return out;
}

struct FormRow {
  const char* type;
  const char* more;
  std::vector<std::byte> value;
  const char* json;
};

class EveryForm : public ::testing::TestWithParam<FormRow> {};

TEST_P(EveryForm, IsShownAsItsTypesAsk) {
  const FormRow& row = GetParam();
  const TestLayout layout(Data("V", row.type, row.more));
  EXPECT_EQ(JsonOf(*layout, row.value), "{\"V\":" + std::string(row.json) + "}");
}

PayloadBuilder P() {
  return {};
}

INSTANTIATE_TEST_SUITE_P(
    PayloadFormat, EveryForm,
    ::testing::Values(
        FormRow{"UnicodeString", "", P().Wide(u"w\u00E9"), "\"w\xC3\xA9\""},
        FormRow{"UnicodeString", "length=\"4\"", P().WideWithoutNul({u"a\0b\0", 4}), "\"a\\u0000b\""},
        FormRow{"AnsiString", "", P().Text("n\xE9"), "\"n\xEF\xBF\xBD\""}, FormRow{"Int8", "", P().U8(0xFF), "-1"},
        FormRow{"UInt8", "", P().U8(0xFF), "255"}, FormRow{"Int16", "", P().U16(0x8000), "-32768"},
        FormRow{"UInt16", "", P().U16(0x8000), "32768"}, FormRow{"Int32", "", P().U32(0xFFFFFFFE), "-2"},
        FormRow{"UInt32", "", P().U32(0xFFFFFFFE), "4294967294"}, FormRow{"Int64", "", P().U64(~0ull), "\"-1\""},
        FormRow{"UInt64", "", P().U64(~0ull), "\"18446744073709551615\""}, FormRow{"Float", "", P().F32(1.5F), "1.5"},
        FormRow{"Double", "", P().F64(-0.1), "-0.1"}, FormRow{"Double", "", P().F64(INFINITY), "\"inf\""},
        FormRow{"Boolean", "", P().U32(0), "false"}, FormRow{"Boolean", "", P().U32(2), "true"},
        FormRow{"UInt8", "outType=\"xs:boolean\"", P().U8(1), "true"},
        FormRow{"Binary", "length=\"2\"", P().U8(1).U8(0xAB), "\"0x01AB\""},
        FormRow{"Binary", "outType=\"win:IPv6\"", P().Fill(15, 0).U8(1), "\"::1\""},
        FormRow{"Binary", "length=\"8\" outType=\"win:SocketAddress\"", P().U16(2).U8(0).U8(80).U8(1).U8(2).U8(3).U8(4),
                "\"1.2.3.4:80\""},
        FormRow{"Binary", "length=\"2\" outType=\"win:Json\"", P().TextWithoutNul("{}"), "\"{}\""},
        FormRow{"GUID", "", P().Guid({0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}}),
                "\"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}\""},
        FormRow{"Pointer", "", P().U64(0xFFFFF80000001000), "\"0xFFFFF80000001000\""},
        FormRow{"FILETIME", "", P().U64(116444736000000000), "\"1970-01-01T00:00:00.0000000Z\""},
        FormRow{"SYSTEMTIME", "", P().U16(2026).U16(1).U16(4).U16(2).U16(3).U16(4).U16(5).U16(6),
                "\"2026-01-02T03:04:05.006Z\""},
        FormRow{"SID", "", P().U8(1).U8(1).Fill(5, 0).U8(5).U32(18), "\"S-1-5-18\""},
        FormRow{"HexInt32", "", P().U32(0xC0000005), "\"0xC0000005\""},
        FormRow{"HexInt64", "", P().U64(255), "\"0xFF\""},
        FormRow{"CountedUnicodeString", "", P().U16(2).U16('x'), "\"x\""},
        FormRow{"CountedAnsiString", "", P().U16(1).U8('x'), "\"x\""},
        FormRow{"CountedBinary", "", P().U16(1).U8(7), "\"0x07\""},
        FormRow{"302", "", P().U8(0).U8(2).U16('x'), "\"x\""}, FormRow{"304", "", P().U16('x'), "\"x\""},
        FormRow{"306", "", P().U16('x'), "\"x\""}, FormRow{"307", "", P().U8('x'), "\"x\""},
        FormRow{"308", "", P().U64(16), "\"0x10\""}, FormRow{"309", "", P().U32(1).U8(5), "\"0x05\""},
        FormRow{"310", "", P().U64(1).U64(0).U8(1).U8(1).Fill(5, 0).U8(5).U32(18), "\"S-1-5-18\""},
        FormRow{"310", "", P().U64(0).U64(0), "null"},
        FormRow{"UInt32", "outType=\"win:HexInt32\"", P().U32(255), "\"0xFF\""},
        FormRow{"UInt16", "outType=\"win:Port\"", P().U8(1).U8(0xBB), "443"},
        FormRow{"UInt32", "outType=\"win:IPv4\"", P().U8(10).U8(0).U8(0).U8(9), "\"10.0.0.9\""},
        FormRow{"UInt32", "outType=\"win:PID\"", P().U32(77), "77"},
        FormRow{"UInt32", "outType=\"win:TID\"", P().U32(77), "77"},
        FormRow{"UInt32", "outType=\"win:Win32Error\"", P().U32(1168), "1168"},
        FormRow{"UInt32", "outType=\"win:NTSTATUS\"", P().U32(0xC0000022), "\"0xC0000022\""},
        FormRow{"Int32", "outType=\"win:HResult\"", P().U32(0x80070005), "\"0x80070005\""},
        FormRow{"UInt32", "outType=\"win:ErrorCode\"", P().U32(0xFFFF), "\"0xFFFF\""},
        FormRow{"UInt8", "outType=\"xs:string\"", P().U8('c'), "\"c\""},
        FormRow{"UInt16", "outType=\"xs:string\"", P().U16(0xE9), "\"\xC3\xA9\""},
        FormRow{"UInt64", "outType=\"win:ETWTIME\"", P().U64(12), "\"12\""},
        FormRow{"UInt8", "count=\"3\"", P().U8(1).U8(2).U8(0xFF), "\"0x0102FF\""},
        FormRow{"UInt8", "count=\"3\" outType=\"xs:string\"", P().TextWithoutNul("abc"), "\"abc\""},
        FormRow{"UInt16", "count=\"2\"", P().U16(1).U16(2), "[1,2]"},
        FormRow{"UInt16", "count=\"1\"", P().U16(1), "[1]"}, FormRow{"UInt16", "count=\"0\"", P(), "[]"},
        FormRow{"AnsiString", "count=\"2\"", P().Text("a").Text("b"), "[\"a\",\"b\"]"}),
    [](const auto& info) { return std::string(info.param.type) + "_" + std::to_string(info.index); });

constexpr const char* kMaps =
    R"x(<maps><valueMap name="V"><map value="1" message="One"/><map value="2" message="$(string.none)"/></valueMap>
       <bitMap name="B"><map value="0x1" message="Read"/><map value="0x4" message="Run"/></bitMap></maps>)x";

TEST(PayloadFormat, AValueMapGivesItsTextAndElseTheNumber) {
  const TestLayout layout(Data("V", "UInt32", "map=\"V\""), kMaps);
  EXPECT_EQ(JsonOf(*layout, P().U32(1)), R"({"V":"One"})");
  EXPECT_EQ(JsonOf(*layout, P().U32(3)), R"({"V":3})");
  EXPECT_EQ(JsonOf(*layout, P().U32(2)), R"({"V":2})") << "an entry without a text names nothing";
}

TEST(PayloadFormat, ABitMapJoinsTheBitsAndKeepsWhatNoEntryNames) {
  const TestLayout layout(Data("V", "UInt32", "map=\"B\" outType=\"win:HexInt32\""), kMaps);
  EXPECT_EQ(JsonOf(*layout, P().U32(5)), R"({"V":"Read|Run"})");
  EXPECT_EQ(JsonOf(*layout, P().U32(0x15)), R"({"V":"Read|Run|0x10"})");
  EXPECT_EQ(JsonOf(*layout, P().U32(8)), R"({"V":"0x8"})");
  EXPECT_EQ(JsonOf(*layout, P().U32(0)), R"({"V":"0x0"})");
}

TEST(PayloadFormat, StructuresAreObjectsAndArraysOfThemLists) {
  const TestLayout layout(Data("N", "UInt8") + "<struct name=\"S\" count=\"N\">" + Data("L", "UInt8") +
                          Data("T", "AnsiString", "length=\"L\"") + "</struct><struct name=\"One\">" +
                          Data("X", "UInt16", "count=\"2\"") + "</struct>");
  EXPECT_EQ(JsonOf(*layout, P().U8(2).U8(1).TextWithoutNul("a").U8(0).U16(7).U16(8)),
            R"({"N":2,"S":[{"L":1,"T":"a"},{"L":0,"T":""}],"One":{"X":[7,8]}})");
}

TEST(PayloadFormat, ACutPayloadGivesWhatStandsBeforeTheCut) {
  const TestLayout layout(Data("A", "UInt8") + Data("B", "UInt32") + Data("C", "UInt8"));
  std::vector<DecodedProperty> properties;
  EXPECT_FALSE(FormatPayload(*layout, 8, P().U8(1).U16(2).Build(), &properties));
  ASSERT_EQ(properties.size(), 1u);
  EXPECT_EQ(properties[0].name, "A");
}

TEST(PayloadFormat, AStructureThatIsCutIsLeftOutWhole) {
  const TestLayout layout(Data("A", "UInt8") + "<struct name=\"S\" count=\"2\">" + Data("X", "UInt16") + "</struct>");
  EXPECT_EQ(JsonOf(*layout, P().U8(1).U16(2).U8(3)), R"({"A":1})");
}

TEST(PayloadFormat, APointerOf4BytesIsReadAsSuch) {
  const TestLayout layout(Data("P", "Pointer") + Data("E", "UInt8"));
  EXPECT_EQ(JsonOf(*layout, P().U32(0x80001000).U8(1), 4), R"({"P":"0x80001000","E":1})");
}

TEST(PayloadFormat, WideTextDropsClosingNulsAndKeepsAnOddByteVisible) {
  EXPECT_EQ(WideText(P().U16('a').U16(0).U16(0).Build()), "a");
  EXPECT_EQ(WideText(P().U16('a').U8(0).Build()), "a\xEF\xBF\xBD");
}

}  // namespace
}  // namespace varnel::formats
