#include "platform/embedded/tdh/embedded_tdh.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tdh_fixture.h"
#include "tracelogging_builder.h"

namespace varnel::embedded {
namespace {

using testing::ManifestOf;
using testing::ManifestWithTemplate;
using testing::PayloadBuilder;
using testing::TraceLoggingBuilder;
using testing::WardletManifest;

std::vector<std::byte> BinaryEvent(std::uint32_t counter, std::string_view function, std::string_view binary) {
  return PayloadBuilder()
      .U32(counter)
      .U32(1)
      .Text(function)
      .U32(42)
      .U32(0)
      .U32(static_cast<std::uint32_t>(binary.size()))
      .TextWithoutNul(binary);
}

TEST_F(TdhTest, LoadsAManifestAndGivesEachPropertyOfItsEvents) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(7, "Main", "ab"));
  EXPECT_EQ(Bytes(record, u"Counter"), "07000000");
  EXPECT_EQ(Bytes(record, u"Flags"), "01000000");
  EXPECT_EQ(Bytes(record, u"Function"), "4D61696E00");
  EXPECT_EQ(Bytes(record, u"CodeLine"), "2A000000");
  EXPECT_EQ(Bytes(record, u"status"), "00000000");
  EXPECT_EQ(Bytes(record, u"BinaryCount"), "02000000");
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "6162");
}

TEST_F(TdhTest, LoadsAManifestOfUtf16AsTheModuleWritesIt) {
  files_[u"C:\\u.xml"] = testing::ToUtf16Bytes(WardletManifest());
  ASSERT_EQ(tdh_.TdhLoadManifest(u"C:\\u.xml"), 0u);
  TestRecord record(kSampleProvider, 1, {});
  Info(record);
  EXPECT_EQ(result_, 0u);
}

TEST_F(TdhTest, TheInformationTellsTheEventAndItsProperties) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(7, "Main", "ab"));
  record->EventHeader.EventDescriptor.Keyword = 0x8000000000000084;
  record->EventHeader.EventDescriptor.Level = 2;
  const auto bytes = Info(record);
  ASSERT_EQ(result_, 0u);
  const TRACE_EVENT_INFO& info = AsInfo(bytes);
  EXPECT_TRUE(info.ProviderGuid == kSampleProvider);
  EXPECT_TRUE(info.EventGuid == GUID{});
  EXPECT_EQ(info.EventDescriptor.Keyword, 0x8000000000000084u) << "that of the record";
  EXPECT_EQ(info.EventDescriptor.Level, 2);
  EXPECT_EQ(info.DecodingSource, 0u);
  EXPECT_EQ(info.PropertyCount, 7u);
  EXPECT_EQ(info.TopLevelPropertyCount, 7u);
  EXPECT_EQ(info.Flags, 2u) << "the template has an XML form of its own";
  EXPECT_EQ(TextAt(bytes, info.ProviderNameOffset), u"ProviderSample");
  EXPECT_EQ(TextAt(bytes, info.LevelNameOffset), u"Information");
  EXPECT_EQ(TextAt(bytes, info.ChannelNameOffset), u"Application");
  EXPECT_EQ(TextAt(bytes, info.EventMessageOffset), u"ID(%1) Binary has sent.");
  EXPECT_EQ(info.TaskNameOffset, 0u);
  EXPECT_EQ(info.OpcodeNameOffset, 0u);
  EXPECT_EQ(info.ProviderMessageOffset, 0u);
  EXPECT_EQ(info.EventNameOffset, 0u);
  EXPECT_EQ(info.BinaryXmlOffset, 0u);

  const char16_t* names[] = {u"Counter", u"Flags",       u"Function",        u"CodeLine",
                             u"status",  u"BinaryCount", u"AdditionalBinary"};
  const std::uint16_t types[] = {8, 8, 2, 8, 8, 8, 4};
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(TextAt(bytes, PropertyAt(bytes, i).NameOffset), names[i]);
    EXPECT_EQ(PropertyAt(bytes, i).InType, types[i]) << i;
  }
  EXPECT_EQ(PropertyAt(bytes, 0).Flags, 0u);
  EXPECT_EQ(PropertyAt(bytes, 0).OutType, 8);
  EXPECT_EQ(PropertyAt(bytes, 0).Count, 1);
  EXPECT_EQ(PropertyAt(bytes, 0).Length, 4);
  EXPECT_EQ(PropertyAt(bytes, 2).Length, 0);
  EXPECT_EQ(PropertyAt(bytes, 6).Flags, platform::kPropertyParamCount);
  EXPECT_EQ(PropertyAt(bytes, 6).Count, 5) << "the index of BinaryCount";
}

TEST_F(TdhTest, KeywordNamesAreAListThatAnEmptyTextEnds) {
  ASSERT_EQ(Load(ManifestOf(R"(<keywords><keyword name="A" mask="1"/><keyword name="Bb" mask="2"/></keywords>
                               <events><event value="1" keywords="A Bb"/></events>)")),
            0u);
  TestRecord record(kTestProvider, 1, {});
  const auto bytes = Info(record);
  const std::uint32_t offset = AsInfo(bytes).KeywordsNameOffset;
  ASSERT_LE(offset + 12, bytes.size());
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(bytes.data() + offset), 6),
            std::u16string(u"A\0Bb\0\0", 6));
}

TEST_F(TdhTest, NamesOfMapsFixedCountsAndLengthsStandInTheInformation) {
  ASSERT_EQ(Load(ManifestWithTemplate(
                R"(<data name="M" inType="win:UInt32" map="V"/><data name="L" inType="win:UInt8"/>
                   <data name="F" inType="win:AnsiString" length="5" count="3"/>
                   <data name="B" inType="win:Binary" length="L"/><data name="P" inType="win:Pointer"/>)",
                R"(<maps><valueMap name="V"><map value="1" message="x"/></valueMap></maps>)")),
            0u);
  TestRecord record(kTestProvider, 1, {});
  const auto bytes = Info(record);
  ASSERT_EQ(result_, 0u);
  EXPECT_EQ(TextAt(bytes, PropertyAt(bytes, 0).MapNameOffset), u"V");
  EXPECT_EQ(PropertyAt(bytes, 1).MapNameOffset, 0u);
  EXPECT_EQ(PropertyAt(bytes, 2).Flags, platform::kPropertyParamFixedLength | platform::kPropertyParamFixedCount);
  EXPECT_EQ(PropertyAt(bytes, 2).Length, 5);
  EXPECT_EQ(PropertyAt(bytes, 2).Count, 3);
  EXPECT_EQ(PropertyAt(bytes, 3).Flags, platform::kPropertyParamLength);
  EXPECT_EQ(PropertyAt(bytes, 3).Length, 1);
  EXPECT_EQ(PropertyAt(bytes, 4).Length, 8);
  EXPECT_EQ(PropertyAt(bytes, 4).OutType, 19);
  EXPECT_EQ(AsInfo(bytes).Flags, 1u);
}

TEST_F(TdhTest, StructuresNameTheirMembersByIndex) {
  ASSERT_EQ(Load(ManifestWithTemplate(
                R"(<data name="N" inType="win:UInt8"/><struct name="S" count="N"><data name="A" inType="win:UInt8"/>
                   <data name="T" inType="win:UInt16"/></struct>)")),
            0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U8(2).U8(1).U16(2).U8(3).U16(4));
  const auto bytes = Info(record);
  ASSERT_EQ(result_, 0u);
  EXPECT_EQ(AsInfo(bytes).PropertyCount, 4u);
  EXPECT_EQ(AsInfo(bytes).TopLevelPropertyCount, 2u);
  EXPECT_EQ(PropertyAt(bytes, 1).Flags, platform::kPropertyStruct | platform::kPropertyParamCount);
  EXPECT_EQ(PropertyAt(bytes, 1).InType, 2) << "StructStartIndex";
  EXPECT_EQ(PropertyAt(bytes, 1).OutType, 2) << "NumOfStructMembers";
  EXPECT_EQ(TextAt(bytes, PropertyAt(bytes, 3).NameOffset), u"T");
  EXPECT_EQ(Bytes(record, u"S"), "010200030400") << "all of the structures";
  EXPECT_EQ(Bytes(record, u"S", 1), "030400");
  EXPECT_EQ(Bytes(record, {Asking(u"S", 1), Asking(u"T")}), "0400");
  EXPECT_EQ(Bytes(record, {Asking(u"S", 0), Asking(u"A", 0)}), "01");
  EXPECT_EQ(Bytes(record, u"A"), "error 1168") << "a member is not asked for by its name alone";
}

TEST_F(TdhTest, AnEventWithoutATemplateHasInformationAndNoProperties) {
  ASSERT_EQ(Load(ManifestOf(R"(<events><event value="1"/></events>)")), 0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U32(1));
  const auto bytes = Info(record);
  ASSERT_EQ(result_, 0u);
  EXPECT_EQ(AsInfo(bytes).PropertyCount, 0u);
  EXPECT_EQ(AsInfo(bytes).Flags, 0u);
}

TEST_F(TdhTest, ABufferThatIsNullOrTooSmallGets122AndTheSizeNeeded) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 1, {});
  std::uint32_t size = 0;
  EXPECT_EQ(tdh_.TdhGetEventInformation(record, nullptr, &size), 122u);
  const std::uint32_t needed = size;
  EXPECT_GT(needed, 112u + 6 * 24u);
  size = 100000;
  EXPECT_EQ(tdh_.TdhGetEventInformation(record, nullptr, &size), 122u);
  EXPECT_EQ(size, needed);
  std::vector<std::byte> buffer(needed);
  auto* info = reinterpret_cast<TRACE_EVENT_INFO*>(buffer.data());
  size = needed - 1;
  EXPECT_EQ(tdh_.TdhGetEventInformation(record, info, &size), 122u);
  EXPECT_EQ(size, needed);
  EXPECT_EQ(buffer, std::vector<std::byte>(needed)) << "nothing is written";
  EXPECT_EQ(tdh_.TdhGetEventInformation(record, info, &size), 0u);
}

TEST_F(TdhTest, WhatNothingDefinesGets1168) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  const auto error_of = [this](const EVENT_RECORD* event) {
    Info(event);
    return result_;
  };
  TestRecord unknown_provider(kTestProvider, 1, {});
  EXPECT_EQ(error_of(unknown_provider), 1168u);
  TestRecord unknown_id(kSampleProvider, 4, {});
  EXPECT_EQ(error_of(unknown_id), 1168u);
  TestRecord unknown_version(kSampleProvider, 1, {});
  unknown_version->EventHeader.EventDescriptor.Version = 1;
  EXPECT_EQ(error_of(unknown_version), 1168u);
  TestRecord classic(kSampleProvider, 1, {});
  classic->EventHeader.Flags |= platform::kEventHeaderFlagClassicHeader;
  EXPECT_EQ(error_of(classic), 1168u);
  TestRecord message(kSampleProvider, 1, {});
  message->EventHeader.Flags |= platform::kEventHeaderFlagTraceMessage;
  EXPECT_EQ(error_of(message), 1168u);
  TestRecord text(kSampleProvider, 1, {});
  text->EventHeader.Flags |= platform::kEventHeaderFlagStringOnly;
  EXPECT_EQ(error_of(text), 1168u);

  TestRecord known(kSampleProvider, 3, BinaryEvent(1, "f", ""));
  EXPECT_EQ(Bytes(known, u"Nonsense"), "error 1168");
  EXPECT_EQ(Bytes(known, u"counter"), "error 1168") << "case counts";
  EXPECT_EQ(Bytes(known, u"Count"), "error 1168") << "no part of a name";
  EXPECT_EQ(Bytes(known, u"Counters"), "error 1168");
  EXPECT_EQ(Bytes(known, u""), "error 1168");
  EXPECT_EQ(Bytes(known, {Asking(u"Counter"), Asking(u"x")}), "error 1168") << "no structure";
  EXPECT_EQ(Bytes(unknown_id, u"Counter"), "error 1168");
}

TEST_F(TdhTest, NullArgumentsGet87) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(1, "f", "x"));
  std::uint32_t size = 0;
  std::uint8_t buffer[4];
  const auto counter = Asking(u"Counter");
  EXPECT_EQ(tdh_.TdhLoadManifest(nullptr), 87u);
  EXPECT_EQ(tdh_.TdhLoadManifest(u""), 87u);
  EXPECT_EQ(tdh_.TdhGetEventInformation(nullptr, nullptr, &size), 87u);
  EXPECT_EQ(tdh_.TdhGetEventInformation(record, nullptr, nullptr), 87u);
  EXPECT_EQ(tdh_.TdhGetPropertySize(nullptr, 1, &counter, &size), 87u);
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 0, &counter, &size), 87u);
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 1, nullptr, &size), 87u);
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 1, &counter, nullptr), 87u);
  const PROPERTY_DATA_DESCRIPTOR three[3] = {counter, counter, counter};
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 3, three, &size), 87u);
  const auto nameless = Asking(nullptr);
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 1, &nameless, &size), 87u);
  EXPECT_EQ(tdh_.TdhGetProperty(nullptr, 1, &counter, 4, buffer), 87u);
  EXPECT_EQ(tdh_.TdhGetProperty(record, 1, &counter, 4, nullptr), 87u);
}

TEST_F(TdhTest, AValueThatDoesNotFitGets122AndWritesNothing) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(0x01020304, "f", "x"));
  std::uint8_t buffer[4] = {9, 9, 9, 9};
  const auto counter = Asking(u"Counter");
  EXPECT_EQ(tdh_.TdhGetProperty(record, 1, &counter, 3, buffer), 122u);
  EXPECT_EQ(buffer[0], 9);
  EXPECT_EQ(tdh_.TdhGetProperty(record, 1, &counter, 3, nullptr), 122u);
  EXPECT_EQ(tdh_.TdhGetProperty(record, 1, &counter, 4, buffer), 0u);
  EXPECT_EQ(buffer[0], 4);
}

TEST_F(TdhTest, AnEmptyValueHasSizeZeroAndNeedsNoBuffer) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(1, "f", ""));
  const auto binary = Asking(u"AdditionalBinary");
  std::uint32_t size = 77;
  EXPECT_EQ(tdh_.TdhGetPropertySize(record, 1, &binary, &size), 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(tdh_.TdhGetProperty(record, 1, &binary, 0, nullptr), 0u);
}

TEST_F(TdhTest, ElementsOfAnArrayAreAskedForByTheirIndex) {
  ASSERT_EQ(Load(ManifestWithTemplate(R"(<data name="N" inType="win:UInt8"/>
      <data name="A" inType="win:UInt16" count="N"/><data name="T" inType="win:AnsiString" count="2"/>)")),
            0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U8(2).U16(0x1111).U16(0x2222).Text("a").Text("bc"));
  EXPECT_EQ(Bytes(record, u"A"), "11112222");
  EXPECT_EQ(Bytes(record, u"A", 0), "1111");
  EXPECT_EQ(Bytes(record, u"A", 1), "2222");
  EXPECT_EQ(Bytes(record, u"A", 2), "error 87");
  EXPECT_EQ(Bytes(record, u"T"), "6100626300");
  EXPECT_EQ(Bytes(record, u"T", 1), "626300");
  EXPECT_EQ(Bytes(record, u"N", 0), "02") << "a single value is its own first element";
  EXPECT_EQ(Bytes(record, u"N", 1), "error 87");
}

TEST_F(TdhTest, MembersFollowTheRulesOfTheirStructure) {
  ASSERT_EQ(Load(ManifestWithTemplate(R"(<struct name="S"><data name="L" inType="win:UInt8"/>
      <data name="A" inType="win:UInt8" count="L"/></struct>)")),
            0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U8(2).U8(7).U8(8));
  EXPECT_EQ(Bytes(record, {Asking(u"S"), Asking(u"A")}), "0708") << "a single structure needs no index";
  EXPECT_EQ(Bytes(record, {Asking(u"S", 0), Asking(u"A", 1)}), "08");
  EXPECT_EQ(Bytes(record, {Asking(u"S", 0), Asking(u"A", 2)}), "error 87");
  EXPECT_EQ(Bytes(record, {Asking(u"S", 1), Asking(u"A")}), "error 87");
  EXPECT_EQ(Bytes(record, {Asking(u"S", 0), Asking(u"X")}), "error 1168");
}

TEST_F(TdhTest, ATruncatedPayloadGivesWhatItHolds) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  const auto whole = BinaryEvent(7, "Main", "abcd");
  TestRecord record(kSampleProvider, 3, {});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    record.SetPayload({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
    Info(record);
    EXPECT_EQ(result_, 0u) << "the information does not depend on the payload";
    EXPECT_EQ(Bytes(record, u"Counter"), size < 4 ? "error 15005" : "07000000") << size;
    EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "error 15005") << size;
  }
  record.SetPayload({whole.begin(), whole.begin() + 10});
  EXPECT_EQ(Bytes(record, u"Function"), "4D61") << "a text takes what is left";
  EXPECT_EQ(Bytes(record, u"CodeLine"), "error 15005");
}

TEST_F(TdhTest, ARecordWithoutUserDataHasAnEmptyPayload) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 1, {});
  record->UserData = nullptr;
  record->UserDataLength = 40;
  EXPECT_EQ(Bytes(record, u"Counter"), "error 15005");
}

TEST_F(TdhTest, ThePointerSizeIsThatOfTheEventAndNotOfThisProcess) {
  ASSERT_EQ(Load(ManifestWithTemplate(R"(<data name="P" inType="win:Pointer"/><data name="E" inType="win:UInt8"/>)")),
            0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U32(1).U8(2).U32(3));
  record->EventHeader.Flags = platform::kEventHeaderFlag32BitHeader;
  EXPECT_EQ(Bytes(record, u"E"), "02");
  record->EventHeader.Flags = platform::kEventHeaderFlag64BitHeader;
  EXPECT_EQ(Bytes(record, u"P"), "0100000002030000");
  EXPECT_EQ(Bytes(record, u"E"), "00");
}

TEST_F(TdhTest, OfEqualNamesTheFirstPropertyIsFoundWhateverWasAskedBefore) {
  ASSERT_EQ(Load(ManifestWithTemplate(R"(<data name="A" inType="win:UInt8"/><data name="B" inType="win:UInt8"/>
                                         <data name="A" inType="win:UInt8"/>)")),
            0u);
  TestRecord record(kTestProvider, 1, PayloadBuilder().U8(1).U8(2).U8(3));
  EXPECT_EQ(Bytes(record, u"A"), "01");
  EXPECT_EQ(Bytes(record, u"B"), "02");
  EXPECT_EQ(Bytes(record, u"A"), "01");
}

TEST_F(TdhTest, APayloadThatChangesInPlaceIsReadAsItIsNow) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord record(kSampleProvider, 3, BinaryEvent(1, "abc", "12345"));
  EXPECT_EQ(Bytes(record, u"CodeLine"), "2A000000");
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "3132333435");
  // The same record, address and size; the text ends one place earlier and the binary part is one byte longer.
  const auto other = BinaryEvent(2, "ab", "123456");
  ASSERT_EQ(other.size(), record.payload().size());
  std::memcpy(record.payload().data(), other.data(), other.size());
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "313233343536");
  EXPECT_EQ(Bytes(record, u"Function"), "616200");
  EXPECT_EQ(Bytes(record, u"Counter"), "02000000");
  // Only a count changes.
  record.payload()[19] = std::byte{5};
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "3132333435");
  record.payload()[19] = std::byte{7};
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "error 15005");
  record.payload()[19] = std::byte{1};
  EXPECT_EQ(Bytes(record, u"AdditionalBinary"), "31");
}

TEST_F(TdhTest, AManifestThatCantBeReadAnswersWhatReadingAnswered) {
  EXPECT_EQ(tdh_.TdhLoadManifest(u"C:\\nothing.xml"), 2u);
  EmbeddedTdh denied([](const char16_t*, std::vector<std::byte>*) { return platform::kErrorPathNotFound; });
  EXPECT_EQ(denied.TdhLoadManifest(u"C:\\no\\m.xml"), 3u);
}

TEST_F(TdhTest, AManifestThatIsNoneGets1465AndChangesNothing) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  for (const char* text : {"", "no xml", "<a>", "<instrumentationManifest/>"}) {
    EXPECT_EQ(Load(text), 1465u) << text;
  }
  EXPECT_EQ(Load(ManifestWithTemplate(R"(<data name="A" inType="win:Nonsense"/>)")), 1465u);
  TestRecord record(kSampleProvider, 1, {});
  Info(record);
  EXPECT_EQ(result_, 0u);
}

TEST_F(TdhTest, APathOf260CharactersGets87) {
  const std::u16string longest(259, u'a');
  files_[longest] = testing::ToBytes(WardletManifest());
  EXPECT_EQ(tdh_.TdhLoadManifest(longest.c_str()), 0u);
  files_[longest + u"a"] = testing::ToBytes(WardletManifest());
  EXPECT_EQ(tdh_.TdhLoadManifest((longest + u"a").c_str()), 87u);
}

TEST_F(TdhTest, LoadingAProviderAgainReplacesWhatWasKnownOfIt) {
  ASSERT_EQ(Load(ManifestOf(R"(<events><event value="1"/><event value="2"/></events>)")), 0u);
  ASSERT_EQ(Load(WardletManifest()), 0u);
  TestRecord one(kTestProvider, 1, {});
  TestRecord two(kTestProvider, 2, {});
  Info(two);
  EXPECT_EQ(result_, 0u);
  ASSERT_EQ(Load(ManifestWithTemplate(R"(<data name="New" inType="win:UInt8"/>)")), 0u);
  Info(two);
  EXPECT_EQ(result_, 1168u);
  EXPECT_EQ(AsInfo(Info(one)).PropertyCount, 1u);
  TestRecord other(kSampleProvider, 1, {});
  Info(other);
  EXPECT_EQ(result_, 0u) << "other providers stay";
}

TEST_F(TdhTest, TwoHelpersOnOneThreadKnowOnlyTheirOwn) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  EmbeddedTdh other([](const char16_t*, std::vector<std::byte>*) { return platform::kErrorFileNotFound; });
  TestRecord record(kSampleProvider, 1, {});
  std::uint32_t size = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(tdh_.TdhGetEventInformation(record, nullptr, &size), 122u);
    EXPECT_EQ(other.TdhGetEventInformation(record, nullptr, &size), 1168u);
  }
}

TEST_F(TdhTest, AnEventThatDescribesItselfNeedsNoManifest) {
  TestRecord record(kTestProvider, 0, PayloadBuilder().U32(7).U16(2).U8(1).U8(2));
  record.AddItem(platform::kExtTypeProvTraits, testing::ProviderTraits("My.Provider"));
  record.AddItem(platform::kExtTypeEventSchemaTl,
                 TraceLoggingBuilder("Started").Field("Pid", 8).Field("B", 14).Build());
  record->EventHeader.EventDescriptor.Level = 5;
  const auto bytes = Info(record);
  ASSERT_EQ(result_, 0u);
  const TRACE_EVENT_INFO& info = AsInfo(bytes);
  EXPECT_EQ(info.DecodingSource, 3u);
  EXPECT_TRUE(info.ProviderGuid == kTestProvider);
  EXPECT_EQ(TextAt(bytes, info.ProviderNameOffset), u"My.Provider");
  EXPECT_EQ(TextAt(bytes, info.EventNameOffset), u"Started");
  EXPECT_EQ(TextAt(bytes, info.LevelNameOffset), u"Verbose");
  EXPECT_EQ(info.PropertyCount, 3u);
  EXPECT_EQ(TextAt(bytes, PropertyAt(bytes, 1).NameOffset), u"B.Length");
  EXPECT_EQ(Bytes(record, u"Pid"), "07000000");
  EXPECT_EQ(Bytes(record, u"B"), "0102");
}

TEST_F(TdhTest, EventsThatDescribeThemselvesDifferentlyAreKeptApart) {
  TestRecord first(kTestProvider, 0, PayloadBuilder().U32(7));
  first.AddItem(platform::kExtTypeEventSchemaTl, TraceLoggingBuilder("E").Field("A", 8).Build());
  TestRecord second(kTestProvider, 0, PayloadBuilder().U32(7));
  second.AddItem(platform::kExtTypeEventSchemaTl, TraceLoggingBuilder("E").Field("A", 6).Build());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Bytes(first, u"A"), "07000000");
    EXPECT_EQ(Bytes(second, u"A"), "0700");
  }
}

TEST_F(TdhTest, ADescriptionThatIsDamagedGets1168) {
  TestRecord record(kTestProvider, 0, {});
  record.AddItem(platform::kExtTypeEventSchemaTl, PayloadBuilder().U16(3).U8(0));
  Info(record);
  EXPECT_EQ(result_, 1168u);
  EXPECT_EQ(Bytes(record, u"A"), "error 1168");
}

TEST_F(TdhTest, SeveralThreadsDecodeWhileManifestsAreLoaded) {
  ASSERT_EQ(Load(WardletManifest()), 0u);
  files_[u"C:\\other.xml"] = testing::ToBytes(ManifestOf("<events><event value=\"1\"/></events>"));
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (std::uint32_t n = 0; !stop || n < 200; ++n) {
        const std::string function(n % 7 + static_cast<std::uint32_t>(t), 'f');
        TestRecord record(kSampleProvider, 3, BinaryEvent(n, function, "xyz"));
        if (Bytes(record, u"AdditionalBinary") != "78797A") ++wrong;
        TestRecord other(kTestProvider, 1, {});
        std::uint32_t size = 0;
        const std::uint32_t result = tdh_.TdhGetEventInformation(other, nullptr, &size);
        if (result != platform::kErrorInsufficientBuffer && result != platform::kErrorNotFound) ++wrong;
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(tdh_.TdhLoadManifest(i % 2 == 0 ? u"C:\\other.xml" : u"C:\\m.xml"), 0u);
    std::this_thread::yield();
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace varnel::embedded
