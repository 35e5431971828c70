#include "platform/embedded/eventlog/log_source.h"

#include "log_files.h"

namespace varnel::embedded {
namespace {

using Result = LogRecordBuilder::Result;
constexpr auto kOrigin = formats::ElementOrigin::kPlatform;

class LogRecordBuilderTest : public LogFiles {
 protected:
  LogRecordBuilder builder_;
  LogRecord record_;
};

TEST_F(LogRecordBuilderTest, TakesNumberTimeProviderAndTextOfAnEvent) {
  record_.stored_id = 99;
  record_.xml = "what was there before";
  ASSERT_EQ(builder_.Build(Xml(887, 41, 132'500'000'100'000'000, "Kernel-Power"), kOrigin, {}, &record_),
            Result::kGood);
  EXPECT_EQ(record_.record_id, 887u);
  EXPECT_EQ(record_.time, 132'500'000'100'000'000u);
  EXPECT_EQ(record_.provider, "Kernel-Power");
  EXPECT_EQ(record_.stored_id, 99u);  // the source's own affair
  EXPECT_EQ(record_.xml.substr(0, 7), "<Event ");
  EXPECT_EQ(record_.xml.substr(record_.xml.size() - 8), "</Event>");
}

TEST_F(LogRecordBuilderTest, MakesNothingOfWhatIsNoEventWithANumber) {
  for (const char* bad :
       {"", "text", "<Event>", "<Event/>", "<Other><System><EventRecordID>1</EventRecordID></System></Other>",
        "<Event><System><EventRecordID>many</EventRecordID></System></Event>"}) {
    EXPECT_EQ(builder_.Build(bad, kOrigin, {}, &record_), Result::kBad) << bad;
  }
}

TEST_F(LogRecordBuilderTest, GivesATimeOf0ToAnEventWithoutOne) {
  ASSERT_EQ(builder_.Build("<Event><System><EventRecordID>5</EventRecordID></System></Event>", kOrigin, {}, &record_),
            Result::kGood);
  EXPECT_EQ(record_.record_id, 5u);
  EXPECT_EQ(record_.time, 0u);
  EXPECT_EQ(record_.provider, "");
}

TEST_F(LogRecordBuilderTest, LeavesTheRecordAloneThatIsNotWanted) {
  LogFilter filter;
  filter.query = formats::EventQuery::Parse("*[System[EventID=41]]").value();
  record_.record_id = 1;
  EXPECT_EQ(builder_.Build(Xml(2, 7), kOrigin, filter, &record_), Result::kNotWanted);
  EXPECT_EQ(record_.record_id, 1u);
  EXPECT_EQ(builder_.Build(Xml(2, 41), kOrigin, filter, &record_), Result::kGood);
  EXPECT_EQ(record_.record_id, 2u);
}

TEST_F(LogRecordBuilderTest, AsksTheQueryForTheTimeOfTheFilter) {
  constexpr std::uint64_t kSecond = 10'000'000;
  LogFilter filter;
  filter.query = formats::EventQuery::Parse("*[System[TimeCreated[timediff(@SystemTime) <= 1000]]]").value();
  filter.now = 132'500'000'000'000'000 + kSecond;
  EXPECT_EQ(builder_.Build(Xml(1, 7, 132'500'000'000'000'000), kOrigin, filter, &record_), Result::kGood);
  filter.now += kSecond;
  EXPECT_EQ(builder_.Build(Xml(1, 7, 132'500'000'000'000'000), kOrigin, filter, &record_), Result::kNotWanted);
}

TEST_F(LogRecordBuilderTest, IsGoodForTheNextRecordAfterABadOne) {
  EXPECT_EQ(builder_.Build("<Event", kOrigin, {}, &record_), Result::kBad);
  EXPECT_EQ(builder_.Build(Xml(3), kOrigin, {}, &record_), Result::kGood);
  EXPECT_EQ(record_.record_id, 3u);
}

}  // namespace
}  // namespace varnel::embedded
