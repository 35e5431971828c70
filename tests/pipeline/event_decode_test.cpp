#include "pipeline/event_decode.h"

#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "tests/pipeline/scripted_tdh.h"
#include "tests/support/cjson_faults.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::NarrowProperty;
using testing::Property;
using testing::SchemaProperty;
using testing::WideProperty;

constexpr std::uint32_t kAllLevels = LOG_ERROR | LOG_INFO | LOG_DETAIL;

class EventDecodeTest : public ::testing::Test {
 protected:
  EventDecodeTest() {
    platform_.ports.tdh = &tdh_;
    WrapLogInit(kAllLevels, nullptr);
    event_ = testing::SampleRecord();
  }

  ~EventDecodeTest() override {
    if (raw_ != nullptr) DestoryRawEvent(raw_);
    EXPECT_EQ(platform_.system.heap_blocks(), 0);
    EXPECT_EQ(testing::CJsonBlocks(), json_blocks_);
  }

  std::uint32_t Convert() {
    if (raw_ != nullptr) DestoryRawEvent(raw_);
    raw_ = nullptr;
    return ConvertEtwEventToRawEvent(&event_, &raw_);
  }

  std::string Text() {
    EXPECT_EQ(Convert(), 0u);
    return raw_ == nullptr ? "" : raw_->pszJsonText;
  }

  /// The keys behind the header's, as `key=value`.
  std::vector<std::string> Printed() {
    const std::string text = Text();
    std::vector<std::string> printed;
    cJSON* json = cJSON_Parse(text.c_str());
    int index = 0;
    for (cJSON* item = json == nullptr ? nullptr : json->child; item != nullptr; item = item->next, ++index) {
      EXPECT_TRUE(cJSON_IsString(item)) << item->string;
      if (index >= 8) printed.push_back(std::string(item->string) + "=" + item->valuestring);
    }
    cJSON_Delete(json);
    return printed;
  }

  std::string Printed(SchemaProperty property) {
    tdh_.properties = {std::move(property)};
    const std::vector<std::string> printed = Printed();
    return printed.empty() ? "" : printed[0];
  }

  testing::ScriptedPlatform platform_;
  testing::ScriptedTdh tdh_;
  platform::EVENT_RECORD event_{};
  RawEvent* raw_ = nullptr;
  long json_blocks_ = testing::CJsonBlocks();
};

TEST_F(EventDecodeTest, TheHeaderGivesEightKeysInTheirOrder) {
  EXPECT_EQ(Text(),
            "{\"WardletVersion\":\"1.0.2\",\"TimeStamp\":\"0x1DC95B3A1C2D3E0\","
            "\"TimeStampString\":\"2026-02-04T16:52:45\","
            "\"ProviderGUID\":\"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}\",\"Mod\":\"Module01\","
            "\"ProcessId\":\"1234\",\"ThreadId\":\"5678\",\"Level\":\"Information\"}");
}

TEST_F(EventDecodeTest, TheRecordTakesTheHeadersTimeAndStartsWithoutBits) {
  ASSERT_EQ(Convert(), 0u);
  EXPECT_EQ(raw_->dwTimeStamp, 0x1DC95B3A1C2D3E0u);
  EXPECT_EQ(raw_->dwCounter, 0u);
  EXPECT_EQ(raw_->dwFlags, 0u);
  EXPECT_EQ(raw_->bIsModuleInitEvent, 0u);
  EXPECT_TRUE(IsListEmpty(&raw_->Link));
}

TEST_F(EventDecodeTest, ATimeOfZeroHasAnEmptyText) {
  event_.EventHeader.TimeStamp = 0;
  EXPECT_THAT(Text(), ::testing::HasSubstr("\"TimeStamp\":\"0x0\",\"TimeStampString\":\"\","));
}

TEST_F(EventDecodeTest, ProcessAndThreadPrintAsSignedNumbers) {
  event_.EventHeader.ProcessId = 0xFFFFFFFF;
  EXPECT_THAT(Text(), ::testing::HasSubstr("\"ProcessId\":\"-1\""));
}

TEST_F(EventDecodeTest, AKeywordWithoutModuleBitsHasTheModuleNone) {
  event_.EventHeader.EventDescriptor.Keyword = 7;
  EXPECT_THAT(Text(), ::testing::HasSubstr("\"Mod\":\"None\""));
}

TEST_F(EventDecodeTest, ATextEventPrintsItsPropertiesInTheOrderOfTheSchema) {
  tdh_.properties = {Property(u"Counter", 8, std::uint32_t{7}), Property(u"Flags", 8, std::uint32_t{8}),
                     NarrowProperty(u"Function", "Open"),       Property(u"CodeLine", 8, std::uint32_t{120}),
                     Property(u"status", 8, std::uint32_t{0}),  NarrowProperty(u"AdditionalMsgAnsi", "said \"so\"")};
  EXPECT_THAT(Printed(),
              ::testing::ElementsAre("Function=Open", "CodeLine=120", "status=0x0", "AdditionalMsgAnsi=said \"so\""));
  EXPECT_EQ(raw_->dwCounter, 7u);
  EXPECT_EQ(raw_->dwFlags, 8u);
}

TEST_F(EventDecodeTest, CounterAndFlagsOf64BitsStoreTheirLowHalf) {
  tdh_.properties = {Property(u"Counter", 10, std::uint64_t{0x100000002}),
                     Property(u"Flags", 9, std::uint64_t{0xF00000009})};
  EXPECT_THAT(Printed(), ::testing::IsEmpty());
  EXPECT_EQ(raw_->dwCounter, 2u);
  EXPECT_EQ(raw_->dwFlags, 9u);
}

TEST_F(EventDecodeTest, CounterOfAnotherTypeStoresNothingAndIsStillNotPrinted) {
  tdh_.properties = {Property(u"Counter", 6, std::uint16_t{5}), NarrowProperty(u"FLAGS", "8")};
  EXPECT_THAT(Printed(), ::testing::IsEmpty());
  EXPECT_EQ(raw_->dwCounter, 0u);
  EXPECT_EQ(raw_->dwFlags, 0u);
}

TEST_F(EventDecodeTest, NamesAreFoundWithoutRegardToCase) {
  tdh_.properties = {Property(u"COUNTER", 7, std::uint32_t{3}), Property(u"flags", 7, std::uint32_t{1}),
                     Property(u"CODELINE", 8, std::uint32_t{4000000000})};
  EXPECT_THAT(Printed(), ::testing::ElementsAre("CODELINE=4000000000"));
  EXPECT_EQ(raw_->dwCounter, 3u);
  EXPECT_EQ(raw_->dwFlags, 1u);
}

TEST_F(EventDecodeTest, WideTextPrintsWholeAsUtf8) {
  EXPECT_EQ(Printed(WideProperty(u"m", u"Grüße \xD83D\xDE00")), "m=Grüße \xF0\x9F\x98\x80");
  EXPECT_EQ(Printed(WideProperty(u"m", u"")), "m=");
  EXPECT_EQ(Printed(WideProperty(u"m", std::u16string(5000, u'w'))), "m=" + std::string(5000, 'w'));
}

TEST_F(EventDecodeTest, ATextWithoutItsNulEndsWithTheProperty) {
  EXPECT_EQ(Printed({u"m", 1, {'a', 0, 'b', 0}}), "m=ab");
  EXPECT_EQ(Printed({u"m", 2, {'a', 'b'}}), "m=ab");
}

TEST_F(EventDecodeTest, NarrowTextPrintsWholeAsItsBytesAre) {
  EXPECT_EQ(Printed(NarrowProperty(u"m", std::string(3000, 'n'))), "m=" + std::string(3000, 'n'));
  EXPECT_EQ(Printed(NarrowProperty(u"m", "")), "m=");
}

TEST_F(EventDecodeTest, NumbersOf16BitsPrintWithoutASign) {
  EXPECT_EQ(Printed(Property(u"n", 5, std::int16_t{-1})), "n=65535");
  EXPECT_EQ(Printed(Property(u"n", 6, std::uint16_t{12})), "n=12");
}

TEST_F(EventDecodeTest, NumbersOf32And64BitsPrintInHexadecimal) {
  EXPECT_EQ(Printed(Property(u"n", 7, std::int32_t{-1})), "n=0xFFFFFFFF");
  EXPECT_EQ(Printed(Property(u"n", 8, std::uint32_t{0xAB})), "n=0xAB");
  EXPECT_EQ(Printed(Property(u"n", 9, std::int64_t{-1})), "n=0xFFFFFFFFFFFFFFFF");
  EXPECT_EQ(Printed(Property(u"n", 10, std::uint64_t{0x123456789A})), "n=0x123456789A");
}

TEST_F(EventDecodeTest, CodeLineOfOtherTypesIsNoExceptionToThem) {
  EXPECT_EQ(Printed(Property(u"CodeLine", 7, std::int32_t{-1})), "CodeLine=4294967295");
  EXPECT_EQ(Printed(Property(u"CodeLine", 10, std::uint64_t{16})), "CodeLine=0x10");
}

TEST_F(EventDecodeTest, FloatingNumbersPrintWithSixDigits) {
  EXPECT_EQ(Printed(Property(u"n", 11, 1.25F)), "n=1.250000");
  EXPECT_EQ(Printed(Property(u"n", 12, -2.5)), "n=-2.500000");
}

TEST_F(EventDecodeTest, BooleansPrintAsWords) {
  EXPECT_EQ(Printed(Property(u"n", 13, std::uint32_t{2})), "n=TRUE");
  EXPECT_EQ(Printed(Property(u"n", 13, std::uint32_t{0})), "n=FALSE");
}

TEST_F(EventDecodeTest, GuidsPrintInBracesAndUpperCase) {
  const GUID guid{0x4a234956, 0x2b7d, 0x4221, {0xba, 0xdf, 0x12, 0x59, 0x3b, 0xd3, 0x42, 0xa8}};
  EXPECT_EQ(Printed(Property(u"g", 15, guid)), "g={4A234956-2B7D-4221-BADF-12593BD342A8}");
}

std::string ListOf(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += i == 0 ? "0x5A" : ", 0x5A";
  return text;
}

TEST_F(EventDecodeTest, ABinaryPropertyOf300BytesPrints256WithoutATrailingSeparator) {
  EXPECT_EQ(Printed({u"b", 14, std::vector<std::uint8_t>(300, 0x5A)}), "b=" + ListOf(256));
}

TEST_F(EventDecodeTest, AUint8PropertyOf300BytesPrintsAll300) {
  EXPECT_EQ(Printed({u"b", 4, std::vector<std::uint8_t>(300, 0x5A)}), "b=" + ListOf(300));
}

TEST_F(EventDecodeTest, SignedBytesAndUnknownTypesPrintAsLimitedByteLists) {
  EXPECT_EQ(Printed(Property(u"b", 3, std::int8_t{-1})), "b=0xFF");
  EXPECT_EQ(Printed({u"b", 3, std::vector<std::uint8_t>(300, 0x5A)}), "b=" + ListOf(256));
  EXPECT_EQ(Printed({u"b", 19, {1, 2, 3}}), "b=0x01, 0x02, 0x03");
}

TEST_F(EventDecodeTest, APropertyOfSizeZeroIsNotPrinted) {
  EXPECT_EQ(Printed({u"b", 4, {}}), "");
}

TEST_F(EventDecodeTest, AStructureIsNotPrinted) {
  EXPECT_EQ(Printed({u"s", 8, {1, 0, 0, 0}, /*flags=*/1}), "");
}

TEST_F(EventDecodeTest, TheMembersOfAStructureAreNotLookedAt) {
  tdh_.properties = {Property(u"a", 8, std::uint32_t{1}),
                     {u"s", 0, {2, 0, 0, 0}, /*flags=*/1},
                     Property(u"Counter", 8, std::uint32_t{7}),
                     Property(u"b", 8, std::uint32_t{3})};
  tdh_.members = 2;
  EXPECT_THAT(Printed(), ::testing::ElementsAre("a=0x1"));
  EXPECT_EQ(raw_->dwCounter, 0u);
}

TEST_F(EventDecodeTest, AStructureOfAKnownNameIsTakenForWhatItsNameSaysBeforeItIsSkipped) {
  tdh_.properties = {Property(u"Counter", 8, std::uint32_t{7}), Property(u"Flags", 8, std::uint32_t{8}),
                     NarrowProperty(u"Function", "EventToWardletInitialize"),
                     WideProperty(u"AdditionalMsg", u"$EVENT_INIT$")};
  for (SchemaProperty& property : tdh_.properties) property.flags = 1;
  EXPECT_THAT(Printed(), ::testing::IsEmpty());
  EXPECT_EQ(raw_->dwCounter, 7u);
  EXPECT_EQ(raw_->dwFlags, 8u);
  EXPECT_EQ(raw_->bIsModuleInitEvent, 1u);
}

TEST_F(EventDecodeTest, APropertyThatCantBeMeasuredOrReadIsMissing) {
  tdh_.properties = {{u"Counter", 8, {9, 0, 0, 0}, 0, /*size_answer=*/5},
                     {u"a", 8, {1, 0, 0, 0}, 0, 0, /*value_answer=*/5},
                     {u"b", 8, {2, 0, 0, 0}}};
  EXPECT_THAT(Printed(), ::testing::ElementsAre("b=0x2"));
  EXPECT_EQ(raw_->dwCounter, 0u);
}

TEST_F(EventDecodeTest, AnEventWhoseFlagsCantBeReadHasNoDeliveryBitsAndIsNoFailure) {
  tdh_.properties = {{u"Flags", 8, {9, 0, 0, 0}, 0, 0, /*value_answer=*/5}, {u"b", 8, {2, 0, 0, 0}}};
  EXPECT_THAT(Printed(), ::testing::ElementsAre("b=0x2"));
  EXPECT_EQ(raw_->dwFlags, 0u);
}

TEST_F(EventDecodeTest, ANameLongerThan255CharactersIsCut) {
  const std::u16string name(300, u'k');
  EXPECT_EQ(Printed({name, 8, {1, 0, 0, 0}}), std::string(255, 'k') + "=0x1");
}

TEST_F(EventDecodeTest, ANameOutsideAsciiPrintsAsUtf8) {
  EXPECT_EQ(Printed({u"Größe", 8, {1, 0, 0, 0}}), "Größe=0x1");
  // 200 characters of two bytes each do not fit: what is shown is what the conversion left in the room.
  EXPECT_LE(Printed({std::u16string(200, u'ß'), 8, {1, 0, 0, 0}}).size(), 255 + std::string("=0x1").size());
}

TEST_F(EventDecodeTest, BothInitMarksMakeAnInitEventAndAreStillPrinted) {
  tdh_.properties = {NarrowProperty(u"FUNCTION", "eventtowardletinitialize"),
                     WideProperty(u"additionalmsg", u"$Event_Init$")};
  EXPECT_THAT(Printed(), ::testing::ElementsAre("FUNCTION=eventtowardletinitialize", "additionalmsg=$Event_Init$"));
  EXPECT_EQ(raw_->bIsModuleInitEvent, 1u);
}

TEST_F(EventDecodeTest, OneInitMarkAloneMakesNoInitEvent) {
  tdh_.properties = {NarrowProperty(u"Function", "EventToWardletInitialize")};
  ASSERT_EQ(Convert(), 0u);
  EXPECT_EQ(raw_->bIsModuleInitEvent, 0u);
  tdh_.properties = {WideProperty(u"AdditionalMsg", u"$EVENT_INIT$")};
  ASSERT_EQ(Convert(), 0u);
  EXPECT_EQ(raw_->bIsModuleInitEvent, 0u);
}

TEST_F(EventDecodeTest, TheMarksNeedTheWholeNameTheWholeValueAndTheType) {
  const auto is_init = [&](SchemaProperty function, SchemaProperty message) {
    tdh_.properties = {std::move(function), std::move(message)};
    EXPECT_EQ(Convert(), 0u);
    return raw_->bIsModuleInitEvent;
  };
  const SchemaProperty function = NarrowProperty(u"Function", "EventToWardletInitialize");
  const SchemaProperty message = WideProperty(u"AdditionalMsg", u"$EVENT_INIT$");
  EXPECT_EQ(is_init(function, message), 1u);
  EXPECT_EQ(is_init(function, WideProperty(u"AdditionalMsgWide", u"$EVENT_INIT$")), 0u);
  EXPECT_EQ(is_init(function, NarrowProperty(u"AdditionalMsg", "$EVENT_INIT$")), 0u);
  EXPECT_EQ(is_init(function, WideProperty(u"AdditionalMsg", u"$EVENT_INIT$ ")), 0u);
  EXPECT_EQ(is_init(NarrowProperty(u"Function", "EventToWardlet"), message), 0u);
  EXPECT_EQ(is_init(WideProperty(u"Function", u"EventToWardletInitialize"), message), 0u);
}

TEST_F(EventDecodeTest, AnEventWithoutASchemaFailsWithItsOneLine) {
  tdh_.first_answer = 1168;
  tdh_.tells_size = false;
  EXPECT_EQ(Convert(), 31u);
  EXPECT_EQ(raw_, nullptr);
  EXPECT_TRUE(platform_.system.Logged(
      "ConvertEtwEventToRawEvent func first call TdhGetEventInformation failed(0x1F) bufferSize(0x0).\r\n"));
}

TEST_F(EventDecodeTest, AFirstQueryThatSucceedsOrTellsNoSizeIsAFailureToo) {
  tdh_.first_answer = 0;
  EXPECT_EQ(Convert(), 31u);
  tdh_.first_answer = 122;
  tdh_.tells_size = false;
  EXPECT_EQ(Convert(), 31u);
}

TEST_F(EventDecodeTest, AFailedSecondQueryBringsItsOwnCodeAndLine) {
  tdh_.second_answer = 0x490;
  EXPECT_EQ(Convert(), 0x490u);
  EXPECT_EQ(raw_, nullptr);
  EXPECT_TRUE(platform_.system.Logged(
      "ConvertEtwEventToRawEvent func second call TdhGetEventInformation failed(0x490) bufferSize(0x88).\r\n"));
}

TEST_F(EventDecodeTest, EachFailedQueryIsOneError) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  tdh_.first_answer = 5;
  Convert();
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  tdh_.first_answer = 122;
  tdh_.second_answer = 5;
  Convert();
  EXPECT_EQ(platform_.system.DebugLines().size(), 2u);
}

TEST_F(EventDecodeTest, WithoutMemoryForTheRecordTheResultIs14AndNothingIsTouched) {
  platform_.system.FailAllocation(1);
  auto* untouched = reinterpret_cast<RawEvent*>(1);
  EXPECT_EQ(ConvertEtwEventToRawEvent(&event_, &untouched), 14u);
  EXPECT_EQ(untouched, reinterpret_cast<RawEvent*>(1));
}

TEST_F(EventDecodeTest, WithoutMemoryForTheSchemaTheResultIs14) {
  platform_.system.FailAllocation(2);
  EXPECT_EQ(Convert(), 14u);
  EXPECT_EQ(raw_, nullptr);
}

TEST_F(EventDecodeTest, WithoutMemoryForAPropertyTheEventGoesOnWithoutIt) {
  tdh_.properties = {{u"a", 8, {1, 0, 0, 0}}, {u"b", 8, {2, 0, 0, 0}}};
  platform_.system.FailAllocation(3);
  EXPECT_THAT(Printed(), ::testing::ElementsAre("b=0x2"));
}

TEST_F(EventDecodeTest, WithoutMemoryForATextThePropertyIsMissing) {
  tdh_.properties = {WideProperty(u"w", u"text"), {u"b", 8, {2, 0, 0, 0}}};
  platform_.system.FailAllocation(4);
  EXPECT_THAT(Printed(), ::testing::ElementsAre("b=0x2"));
  tdh_.properties = {{u"l", 14, {1}}, {u"b", 8, {2, 0, 0, 0}}};
  platform_.system.FailAllocation(4);
  EXPECT_THAT(Printed(), ::testing::ElementsAre("b=0x2"));
}

TEST_F(EventDecodeTest, WithoutMemoryForTheJsonObjectTheResultIs14) {
  const testing::CJsonAllocationFaults failing(1);
  EXPECT_EQ(Convert(), 14u);
  EXPECT_EQ(raw_, nullptr);
}

TEST_F(EventDecodeTest, OneFailingJsonAllocationCostsOneKeyOrTheEvent) {
  // The first dozens of keys need no block each.
  tdh_.properties.assign(30, NarrowProperty(u"Function", "Open"));
  unsigned keys_lost = 0;
  for (unsigned nth = 1;; ++nth) {
    std::uint32_t result = 0;
    bool happened = false;
    {
      const testing::CJsonAllocationFaults failing(nth);
      result = Convert();
      happened = failing.failed();
    }
    if (!happened) break;
    if (result != 0) {
      EXPECT_EQ(result, 14u);
      continue;
    }
    cJSON* json = cJSON_Parse(raw_->pszJsonText);
    EXPECT_EQ(cJSON_GetArraySize(json), 8 + 30 - 1) << "allocation " << nth;
    cJSON_Delete(json);
    ++keys_lost;
  }
  EXPECT_GE(keys_lost, 10u);
}

TEST_F(EventDecodeTest, EveryFailingJsonAllocationLosesTheEventAndNothingElse) {
  tdh_.properties.assign(30, NarrowProperty(u"Function", "Open"));
  unsigned failed = 0;
  for (unsigned nth = 1;; ++nth) {
    const testing::CJsonAllocationFaults failing(nth, /*persistent=*/true);
    const std::uint32_t result = Convert();
    if (!failing.failed()) {
      EXPECT_EQ(result, 0u);
      break;
    }
    ++failed;
    EXPECT_EQ(result, 14u) << "allocation " << nth;
    EXPECT_EQ(raw_, nullptr);
    EXPECT_EQ(platform_.system.heap_blocks(), 0);
    EXPECT_EQ(testing::CJsonBlocks(), json_blocks_);
  }
  EXPECT_GT(failed, 10u);
}

}  // namespace
}  // namespace varnel
