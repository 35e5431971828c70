#include "pipeline/event_delivery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventDeliveryTest : public testing::PipelineTest {
 protected:
  std::uint32_t Deal(std::uint32_t flags) {
    RawEvent* event = MakeEvent(0x1DC, 0xAB, flags, "{text}");
    const std::uint32_t result = RawEventDealInternal(consumer_, event);
    DestoryRawEvent(event);
    return result;
  }

  static std::u16string Flags(std::uint32_t flags) {
    char16_t text[260] = u"before";
    FormatRawEventFlags(text, 260, flags);
    return text;
  }

  TargetConsumer* consumer_ = MakeConsumer();
};

TEST_F(EventDeliveryTest, FlagsAreNamedInTheOrderOfTheirBits) {
  EXPECT_EQ(Flags(0), u"");
  EXPECT_EQ(Flags(0x1), u"NEED_DBG_PRINT ");
  EXPECT_EQ(Flags(0x2), u"NEED_WRITE_TO_FILE ");
  EXPECT_EQ(Flags(0x8), u"NEED_POINT_RECORD");
  EXPECT_EQ(Flags(0xB), u"NEED_DBG_PRINT NEED_WRITE_TO_FILE NEED_POINT_RECORD");
  EXPECT_EQ(Flags(0xFFFFFFF4), u"");
}

TEST_F(EventDeliveryTest, FlagNamesThatDoNotFitAreCut) {
  char16_t text[10] = {};
  FormatRawEventFlags(text, 10, 0xB);
  EXPECT_EQ(std::u16string(text), u"NEED_DBG_");
}

TEST_F(EventDeliveryTest, APointRecordReachesTheHostWithItsContext) {
  EXPECT_EQ(Deal(NEED_POINT_RECORD), 0u);
  EXPECT_THAT(host_.Texts(), ElementsAre("{text}"));
}

TEST_F(EventDeliveryTest, WithoutThePointRecordBitTheHostSeesNothing) {
  EXPECT_EQ(Deal(NEED_DBG_PRINT | NEED_WRITE_TO_FILE | 4), 0u);
  EXPECT_THAT(host_.Texts(), IsEmpty());
}

TEST_F(EventDeliveryTest, TheDebugBitSendsTheTextToTheDebuggerOutput) {
  platform_.system.ClearDebug();
  Deal(NEED_POINT_RECORD);
  for (const std::string& line : platform_.system.DebugLines()) EXPECT_NE(line, "{text}");
  Deal(NEED_DBG_PRINT);
  EXPECT_THAT(platform_.system.DebugLines(), ::testing::Contains("{text}"));
}

TEST_F(EventDeliveryTest, TheDetailLineShowsFieldsFlagsAndText) {
  WrapLogInit(LOG_DETAIL, nullptr);
  Deal(NEED_POINT_RECORD | NEED_DBG_PRINT);
  EXPECT_TRUE(
      Logged("RawEventDealInternal func bIsModuleInitEvent(0)  dwTimeStamp(0x1DC) dwCounter(0xAB) "
             "dwFlags(0x9 -> NEED_DBG_PRINT NEED_POINT_RECORD) \r\n{text} \r\n"));
}

TEST_F(EventDeliveryTest, ACallbackThatAnswersNonZeroIsLoggedAndTheEventCountsAsDelivered) {
  WrapLogInit(LOG_DETAIL, nullptr);
  host_.answer = 0x57;
  EXPECT_EQ(Deal(NEED_POINT_RECORD), 0u);
  EXPECT_TRUE(Logged("RawEventDealInternal func call callback dwTimeStamp(0x1DC) dwCounter(0xAB) failed(0x57) \r\n"));
}

}  // namespace
}  // namespace varnel
