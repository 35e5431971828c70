#include "formats/manifest_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/guid_text.h"
#include "manifest_text.h"

namespace varnel::formats {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::ManifestOf;
using testing::ManifestWithTemplate;
using testing::ToBytes;
using testing::ToUtf16Bytes;
using testing::WardletManifest;

InstrumentationManifest Read(std::string_view text) {
  auto result = ReadManifest(ToBytes(text), "m.xml");
  EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().message);
  return result.ok() ? std::move(result).value() : InstrumentationManifest{};
}

std::string ErrorOf(std::string_view text) {
  auto result = ReadManifest(ToBytes(text), "m.xml");
  return result.ok() ? "no error" : result.error().message;
}

TEST(ManifestReader, CompilesTheThreeTemplatesOfAWardletProvider) {
  const InstrumentationManifest manifest = Read(WardletManifest());
  ASSERT_EQ(manifest.providers.size(), 1u);
  const ProviderManifest& provider = manifest.providers[0];
  EXPECT_EQ(provider.name, "ProviderSample");
  EXPECT_EQ(FormatGuid(provider.guid), "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
  ASSERT_EQ(provider.events.size(), 3u);
  EXPECT_EQ(provider.keywords.size(), 34u);
  EXPECT_EQ(manifest.culture, "en-US");
  EXPECT_EQ(manifest.string_count, 3u);
  EXPECT_EQ(provider.unresolved_references, 0u);

  const EventDefinition* binary = provider.FindEvent(3, 0);
  ASSERT_NE(binary, nullptr);
  const EventLayout& layout = *binary->layout;
  ASSERT_EQ(layout.properties.size(), 7u);
  EXPECT_EQ(layout.top_level_count, 7);
  EXPECT_TRUE(layout.has_user_data);
  EXPECT_EQ(layout.properties[2].name, "Function");
  EXPECT_EQ(layout.properties[2].in_type, InType::kAnsiString);
  EXPECT_EQ(layout.properties[5].in_type, InType::kUInt32);
  EXPECT_EQ(layout.properties[6].in_type, InType::kUInt8);
  EXPECT_EQ(layout.properties[6].count.told, Told::kByField);
  EXPECT_EQ(layout.properties[6].count.value, 5);
}

TEST(ManifestReader, ResolvesTheDescriptorOfAWardletEvent) {
  const InstrumentationManifest manifest = Read(WardletManifest());
  const EventDefinition* event = manifest.providers[0].FindEvent(2, 0);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->level, 4);
  EXPECT_EQ(event->level_name, "Information");
  EXPECT_EQ(event->channel, 9);
  EXPECT_EQ(event->channel_name, "Application");
  EXPECT_EQ(event->opcode, 0);
  EXPECT_EQ(event->opcode_name, "");
  EXPECT_EQ(event->task, 0);
  EXPECT_EQ(event->keywords, 0x80000003FFFFFFFAu);
  EXPECT_EQ(event->keyword_names.size(), 32u);
  EXPECT_EQ(event->keyword_names.front(), "DefaultWithMsgWide");
  EXPECT_EQ(event->keyword_names.back(), "Module27");
  EXPECT_EQ(event->message, "ID(%1) Message has sent.");
}

TEST(ManifestReader, ReadsUtf16OfBothOrdersAndUtf8WithAMark) {
  const std::string text = WardletManifest();
  const auto expect_three_events = [](const std::vector<std::byte>& bytes) {
    auto result = ReadManifest(bytes, "m.xml");
    ASSERT_TRUE(result.ok()) << result.error().message;
    EXPECT_EQ(result.value().providers[0].events.size(), 3u);
  };
  expect_three_events(ToUtf16Bytes(text));
  expect_three_events(ToUtf16Bytes(text, true));
  expect_three_events(ToBytes("\xEF\xBB\xBF" + text));
  std::vector<std::byte> without_mark = ToUtf16Bytes(text);
  without_mark.erase(without_mark.begin(), without_mark.begin() + 2);
  expect_three_events(without_mark);
}

TEST(ManifestReader, FlattensStructuresBehindTheTopLevel) {
  const InstrumentationManifest manifest = Read(ManifestWithTemplate(R"x(
    <data name="N" inType="win:UInt16"/>
    <struct name="First" count="N"><data name="A" inType="win:UInt8"/><data name="B" inType="win:UInt32"/></struct>
    <data name="Tail" inType="win:UInt64"/>
    <struct name="Second"><data name="L" inType="win:UInt8"/>
      <data name="T" inType="win:UnicodeString" length="L"/><data name="U" inType="win:Binary" length="N"/></struct>)x"));
  const EventLayout& layout = *manifest.providers[0].events[0].layout;
  std::vector<std::string> names;
  for (const PropertyLayout& property : layout.properties) names.push_back(property.name);
  EXPECT_THAT(names, ElementsAre("N", "First", "Tail", "Second", "A", "B", "L", "T", "U"));
  EXPECT_EQ(layout.top_level_count, 4);
  EXPECT_TRUE(layout.properties[1].is_structure);
  EXPECT_EQ(layout.properties[1].first_member, 4);
  EXPECT_EQ(layout.properties[1].member_count, 2);
  EXPECT_EQ(layout.properties[1].count.value, 0);
  EXPECT_EQ(layout.properties[3].first_member, 6);
  EXPECT_EQ(layout.properties[3].member_count, 3);
  EXPECT_EQ(layout.properties[7].length.value, 6) << "a member's length names the member before it";
  EXPECT_EQ(layout.properties[8].length.value, 0) << "or a property outside of the structure";
  EXPECT_EQ(layout.slot_count, 2);
}

TEST(ManifestReader, AMembersNameHidesAnOuterOneOfTheSameName) {
  const InstrumentationManifest manifest = Read(ManifestWithTemplate(R"x(
    <data name="L" inType="win:UInt16"/>
    <struct name="S"><data name="L" inType="win:UInt8"/><data name="T" inType="win:AnsiString" length="L"/></struct>)x"));
  EXPECT_EQ(manifest.providers[0].events[0].layout->properties[3].length.value, 2);
}

TEST(ManifestReader, KnowsEveryInTypeByNameAndByNumber) {
  struct Row {
    const char* attribute;
    InType type;
    OutType out;
  };
  const Row rows[] = {{"win:UnicodeString", InType::kUnicodeString, OutType::kString},
                      {"win:AnsiString", InType::kAnsiString, OutType::kString},
                      {"win:Int8", InType::kInt8, OutType::kByte},
                      {"win:UInt8", InType::kUInt8, OutType::kUnsignedByte},
                      {"win:Int16", InType::kInt16, OutType::kShort},
                      {"win:UInt16", InType::kUInt16, OutType::kUnsignedShort},
                      {"win:Int32", InType::kInt32, OutType::kInt},
                      {"win:UInt32", InType::kUInt32, OutType::kUnsignedInt},
                      {"win:Int64", InType::kInt64, OutType::kLong},
                      {"win:UInt64", InType::kUInt64, OutType::kUnsignedLong},
                      {"win:Float", InType::kFloat, OutType::kFloat},
                      {"win:Double", InType::kDouble, OutType::kDouble},
                      {"win:Boolean", InType::kBoolean, OutType::kBoolean},
                      {"win:GUID", InType::kGuid, OutType::kGuid},
                      {"win:Pointer", InType::kPointer, OutType::kHexInt64},
                      {"win:FILETIME", InType::kFileTime, OutType::kDateTime},
                      {"win:SYSTEMTIME", InType::kSystemTime, OutType::kDateTime},
                      {"win:SID", InType::kSid, OutType::kString},
                      {"win:HexInt32", InType::kHexInt32, OutType::kHexInt32},
                      {"win:HexInt64", InType::kHexInt64, OutType::kHexInt64},
                      {"win:CountedUnicodeString", InType::kCountedUnicodeString, OutType::kString},
                      {"win:CountedAnsiString", InType::kCountedAnsiString, OutType::kString},
                      {"win:CountedBinary", InType::kCountedBinary, OutType::kHexBinary},
                      {"other:UInt32", InType::kUInt32, OutType::kUnsignedInt},
                      {"UInt32", InType::kUInt32, OutType::kUnsignedInt},
                      {"win:28", static_cast<InType>(28), OutType::kNull}};
  for (const Row& row : rows) {
    const InstrumentationManifest manifest =
        Read(ManifestWithTemplate("<data name=\"P\" inType=\"" + std::string(row.attribute) + "\"/>"));
    ASSERT_EQ(manifest.providers.size(), 1u) << row.attribute;
    const PropertyLayout& property = manifest.providers[0].events[0].layout->properties[0];
    EXPECT_EQ(property.in_type, row.type) << row.attribute;
    EXPECT_EQ(property.out_type, row.out) << row.attribute;
  }
}

TEST(ManifestReader, TakesOutTypesWithEitherPrefixAndAttributesInLowerCase) {
  const InstrumentationManifest manifest = Read(ManifestWithTemplate(
      R"x(<data name="A" inType="win:UInt32" outType="xs:HexInt32"/><data name="B" intype="win:UInt32" outtype="win:PID"/>
         <data name="C" inType="win:Binary" length="16" outType="win:IPv6"/>)x"));
  const auto& properties = manifest.providers[0].events[0].layout->properties;
  EXPECT_EQ(properties[0].out_type, OutType::kHexInt32);
  EXPECT_EQ(properties[1].out_type, OutType::kPid);
  EXPECT_EQ(properties[2].out_type, OutType::kIpV6);
  EXPECT_EQ(properties[2].length.told, Told::kFixed);
  EXPECT_EQ(properties[2].length.value, 16);
}

TEST(ManifestReader, ReadsValueMapsAndBitMapsWithTheirTexts) {
  const InstrumentationManifest manifest = Read(ManifestWithTemplate(
      R"x(<data name="A" inType="win:UInt32" map="V"/><data name="B" inType="win:UInt32" map="B"/>)x",
      R"x(<maps><valueMap name="V"><map value="1" message="$(string.one)"/><map value="0x10" message="$(string.none)"/>
         </valueMap><bitMap name="B"><map value="0x80000000" message="$(string.high)"/></bitMap></maps>)x",
      R"x(<string id="one" value="One"/><string id="high" value="High"/>)x"));
  const ProviderManifest& provider = manifest.providers[0];
  ASSERT_EQ(provider.maps.size(), 2u);
  EXPECT_FALSE(provider.maps[0].is_bitmap);
  EXPECT_EQ(provider.maps[0].entries[0].text, "One");
  EXPECT_EQ(provider.maps[0].entries[1].value, 16u);
  EXPECT_EQ(provider.maps[0].entries[1].text, "") << "a text that no table holds";
  EXPECT_TRUE(provider.maps[1].is_bitmap);
  EXPECT_EQ(provider.maps[1].entries[0].value, 0x80000000u);
  EXPECT_EQ(provider.events[0].layout->properties[1].map, &provider.maps[1]);
  EXPECT_EQ(provider.unresolved_references, 1u);
}

TEST(ManifestReader, AnOpcodeOfTheTaskGoesBeforeTheProvidersAndThePredefined) {
  const InstrumentationManifest manifest = Read(ManifestOf(R"x(
    <tasks><task name="T" value="7"><opcodes><opcode name="Go" value="20"/></opcodes></task></tasks>
    <opcodes><opcode name="Go" value="30" message="$(string.go)"/></opcodes>
    <events><event value="1" task="T" opcode="Go"/><event value="2" opcode="Go"/><event value="3" opcode="win:Stop"/>
    <event value="4" task="Missing" opcode="Missing"/></events>)x",
                                                           R"x(<string id="go" value="Going"/>)x"));
  const ProviderManifest& provider = manifest.providers[0];
  EXPECT_EQ(provider.FindEvent(1, 0)->opcode, 20);
  EXPECT_EQ(provider.FindEvent(1, 0)->task, 7);
  EXPECT_EQ(provider.FindEvent(1, 0)->opcode_name, "Go");
  EXPECT_EQ(provider.FindEvent(2, 0)->opcode, 30);
  EXPECT_EQ(provider.FindEvent(2, 0)->opcode_name, "Going");
  EXPECT_EQ(provider.FindEvent(3, 0)->opcode, 2);
  EXPECT_EQ(provider.FindEvent(4, 0)->opcode, 0);
  EXPECT_EQ(provider.FindEvent(4, 0)->task, 0);
  EXPECT_EQ(provider.unresolved_references, 2u) << "a label that is missing does not make the layout bad";
}

TEST(ManifestReader, FindsAnEventByIdAndExactVersion) {
  const InstrumentationManifest manifest = Read(ManifestOf(
      R"x(<events><event value="65535" version="255" symbol="last"/><event value="5" version="1" symbol="b"/>
         <event value="5" symbol="a"/><event value="5" version="1" symbol="again"/></events>)x"));
  const ProviderManifest& provider = manifest.providers[0];
  EXPECT_EQ(provider.FindEvent(5, 0)->symbol, "a");
  EXPECT_EQ(provider.FindEvent(5, 1)->symbol, "b") << "of equal ones the first counts";
  EXPECT_EQ(provider.FindEvent(5, 2), nullptr);
  EXPECT_EQ(provider.FindEvent(65535, 255)->symbol, "last");
  EXPECT_TRUE(provider.FindEvent(5, 0)->layout->properties.empty()) << "no template: no properties";
}

TEST(ManifestReader, GivesEachChannelItsNumberAndItsKeywordBit) {
  const InstrumentationManifest manifest = Read(ManifestOf(R"x(
    <channels><importChannel name="System" chid="C1"/><channel name="Own/Admin" chid="C2" type="Admin"/>
      <channel name="Own/Debug" type="Debug"/><channel name="Own/Fixed" chid="C4" type="Debug" value="40"/></channels>
    <events><event value="1" channel="C1"/><event value="2" channel="C2"/><event value="3" channel="Own/Debug"/>
    <event value="4" channel="C4"/></events>)x"));
  const ProviderManifest& provider = manifest.providers[0];
  EXPECT_EQ(provider.FindEvent(1, 0)->channel, 8);
  EXPECT_EQ(provider.FindEvent(1, 0)->keywords, 0x8000000000000000u);
  EXPECT_EQ(provider.FindEvent(2, 0)->channel, 16);
  EXPECT_EQ(provider.FindEvent(2, 0)->keywords, 0x4000000000000000u);
  EXPECT_EQ(provider.FindEvent(3, 0)->channel, 17);
  EXPECT_EQ(provider.FindEvent(4, 0)->channel, 40);
}

TEST(ManifestReader, TakesTheTextsOfTheEnglishTableElseOfTheFirst) {
  const std::string head =
      "<instrumentationManifest><instrumentation><events><provider name=\"P\" "
      "guid=\"{11111111-2222-3333-4444-555555555555}\"><events><event value=\"1\" message=\"$(string.m.x)\"/></events>"
      "</provider></events></instrumentation><localization>";
  const auto table = [](const std::string& culture, const std::string& text) {
    return "<resources culture=\"" + culture + "\"><stringTable><string id=\"m.x\" value=\"" + text +
           "\"/></stringTable></resources>";
  };
  const std::string tail = "</localization></instrumentationManifest>";
  EXPECT_EQ(Read(head + table("de-DE", "Text") + table("en-us", "text") + tail).providers[0].events[0].message, "text");
  EXPECT_EQ(Read(head + table("de-DE", "Text") + table("fr-FR", "texte") + tail).providers[0].events[0].message,
            "Text");
}

TEST(ManifestReader, ReadsAProviderBelowAnAssemblyAndBehindAPrefix) {
  const InstrumentationManifest manifest = Read(
      R"x(<assembly xmlns="urn:schemas-microsoft-com:asm.v3"><instrumentation><e:events xmlns:e="x"><e:provider name="P"
         guid="11111111-2222-3333-4444-555555555555"/></e:events><counters><provider/></counters></instrumentation>
         </assembly>)x");
  ASSERT_EQ(manifest.providers.size(), 1u);
  EXPECT_EQ(manifest.providers[0].name, "P");
}

TEST(ManifestReader, ErrorsNameFileLineAndReason) {
  EXPECT_EQ(ErrorOf("<a>\n<b></a>"), "m.xml:2: not well-formed XML (XML_ERROR_MISMATCHED_ELEMENT)");
  EXPECT_EQ(ErrorOf(""), "m.xml:1: not well-formed XML (XML_ERROR_EMPTY_DOCUMENT)");
  EXPECT_THAT(ErrorOf("{\"json\": 1}"), HasSubstr("not well-formed XML"));
  EXPECT_EQ(ErrorOf("<html/>"),
            "m.xml:1: no <provider> in <instrumentation> <events>: this is no instrumentation manifest");
  EXPECT_EQ(ErrorOf(ManifestOf("", "", "P", "{1}")), "m.xml:3: provider \"P\" has no valid guid: \"{1}\"");
  EXPECT_EQ(ErrorOf(ManifestOf("", "", "")), "m.xml:3: <provider> has no name");
}

TEST(ManifestReader, RefusesEachReferenceThatALayoutNeedsAndDoesNotFind) {
  EXPECT_EQ(ErrorOf(ManifestOf("<events>\n<event value=\"1\" template=\"X\"/></events>")),
            "m.xml:5: template \"X\" is not defined");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:UInt32" map="X"/>)x")),
            "m.xml:5: map \"X\" is not defined");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:Binary" length="X"/>)x")),
            "m.xml:5: length \"X\" names no earlier <data>");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:UInt8" count="B"/>
<data name="B" inType="win:UInt8"/>)x")),
            "m.xml:5: count \"B\" names no earlier <data>");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<struct name="S"><data name="A" inType="win:UInt8"/></struct>
<data name="B" inType="win:UInt8" count="A"/>)x")),
            "m.xml:6: count \"A\" names no earlier <data>")
      << "a member is not seen from outside of its structure";
}

TEST(ManifestReader, RefusesWhatATemplateMayNotHold) {
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:Nonsense"/>)x")),
            "m.xml:5: <data> \"A\" has an unknown inType \"win:Nonsense\"");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:UInt8" outType="win:Nonsense"/>)x")),
            "m.xml:5: <data> \"A\" has an unknown outType \"win:Nonsense\"");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:UInt32" length="4"/>)x")),
            "m.xml:5: <data> \"A\" has a length, which \"win:UInt32\" does not take");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data name="A" inType="win:UInt32" count="65536"/>)x")),
            "m.xml:5: count \"65536\" is no number up to 65535");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<data inType="win:UInt32"/>)x")), "m.xml:5: <data> has no name");
  EXPECT_EQ(ErrorOf(ManifestWithTemplate(R"x(<struct name="S"><struct name="T"/></struct>)x")),
            "m.xml:5: a <struct> holds <data> only, not <struct>");
  EXPECT_EQ(ErrorOf(ManifestOf("<templates><template/></templates>")), "m.xml:4: <template> has no tid");
  EXPECT_EQ(ErrorOf(ManifestOf("<templates><template tid=\"T\"/><template tid=\"T\"/></templates>")),
            "m.xml:4: template \"T\" is defined twice");
}

TEST(ManifestReader, RefusesNumbersThatAreNoneOrTooLarge) {
  EXPECT_EQ(ErrorOf(ManifestOf("<events><event/></events>")), "m.xml:4: <event> has no value");
  EXPECT_EQ(ErrorOf(ManifestOf("<events><event value=\"65536\"/></events>")),
            "m.xml:4: <event> has a value \"65536\" that is no number up to 65535");
  EXPECT_EQ(ErrorOf(ManifestOf("<events><event value=\"1\" version=\"256\"/></events>")),
            "m.xml:4: <event> has a version \"256\" that is no number up to 255");
  EXPECT_EQ(ErrorOf(ManifestOf("<keywords><keyword name=\"K\" mask=\"0xG\"/></keywords>")),
            "m.xml:4: <keyword> has a mask \"0xG\" that is no number up to 18446744073709551615");
  EXPECT_EQ(ErrorOf(ManifestOf("<maps><valueMap name=\"V\"><map value=\"x\"/></valueMap></maps>")),
            "m.xml:4: <map> has a value \"x\" that is no number up to 4294967295");
}

}  // namespace
}  // namespace varnel::formats
