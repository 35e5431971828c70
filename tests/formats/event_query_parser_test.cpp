#include <gtest/gtest.h>

#include <string>

#include "formats/event_query.h"

namespace varnel::formats {
namespace {

TEST(EventQueryParser, TakesTheFormsOfTheLanguage) {
  for (const char* text :
       {"",
        "*",
        "Event",
        " * ",
        "*[System]",
        "*[System[(EventID=12 or EventID=41)]]",
        "Event/System[EventID=41]",
        "*[System/EventID=41]",
        "Event[System[EventID=1]][EventData[Data='x']]",
        "*/System/EventID",
        "*/System/@x",
        "*[System[Provider[@Name='x' or @Name=\"y\"] and (Level=1 or Level=2)]]",
        "*[System[TimeCreated[@SystemTime>='2026-01-01T00:00:00.000Z' and @SystemTime<'2027-01-01T00:00:00Z']]]",
        "*[System[TimeCreated[timediff(@SystemTime) <= 86400000]]]",
        "*[System[TimeCreated[timediff(@SystemTime, '2026-01-01T00:00:00Z') > 5]]]",
        "*[System[band(Keywords,0x8000000000000000)]]",
        "*[System[band(Keywords, 9) != 0]]",
        "*[EventData[Data[@Name='BugcheckCode']=159]]",
        "*[EventData[Data[1]='x']]",
        "*[UserData/*/Channel='System']",
        "*[System[EventID != 1]][System[EventID >= 2 and EventID <= 9 and EventID > 1]]"}) {
    const auto query = EventQuery::Parse(text);
    EXPECT_TRUE(query.ok()) << text << ": " << (query.ok() ? "" : query.error().message);
  }
}

TEST(EventQueryParser, RefusesWhatIsOutsideAndTellsThePlace) {
  for (const char* text : {"System",
                           "System[EventID=1]",
                           "//Event",
                           "/Event",
                           "*[",
                           "*[]",
                           "*[System",
                           "*[System[EventID=]]",
                           "*[System[EventID=41]",
                           "*[System[EventID=12 or]]",
                           "*[System[(EventID=12]]",
                           "*[System[not(EventID=1)]]",
                           "*[contains(System/Computer,'x')]",
                           "*[starts-with(System,'x')]",
                           "*[System[EventID='x]]",
                           "*[System[1=EventID]]",
                           "*[System[EventID=1 xor EventID=2]]",
                           "*[System[EventID==1]]",
                           "*[System[@Name[x]]]",
                           "*[@Name/x]",
                           "*[child::System]",
                           "*|*",
                           "*[System[EventID=-1]]",
                           "*[System[EventID=1a]]",
                           "*[0]",
                           "* *",
                           "*[System[band(Keywords)]]",
                           "*[System[band(Keywords,'x')]]",
                           "*[timediff(@SystemTime)]",
                           "*[timediff(@SystemTime,'x')>1]",
                           "*[timediff(@SystemTime)>]",
                           "*[.='x']",
                           "*[..]",
                           "*[$x=1]",
                           "*[System[EventID=99999999999999999999]]",
                           "<QueryList><Query><Select Path='System'>*</Select></Query></QueryList>"}) {
    const auto query = EventQuery::Parse(text);
    ASSERT_FALSE(query.ok()) << text;
    EXPECT_NE(query.error().message.find("(at "), std::string::npos) << query.error().message;
  }
}

TEST(EventQueryParser, RefusesAQueryThatIsTooDeepOrTooLong) {
  std::string deep = "*[";
  for (int i = 0; i < 40; ++i) deep += '(';
  EXPECT_FALSE(EventQuery::Parse(deep + "a" + std::string(40, ')') + "]").ok());
  std::string nested = "*";
  for (int i = 0; i < 5000; ++i) nested += "[a";
  EXPECT_FALSE(EventQuery::Parse(nested).ok());
  EXPECT_FALSE(EventQuery::Parse("*[" + std::string(70'000, 'a') + "]").ok());
}

TEST(EventQueryParser, TakesManyTestsBesideEachOther) {
  std::string text = "*[System[EventID=1";
  for (int i = 0; i < 500; ++i) text += " or EventID=1";
  EXPECT_TRUE(EventQuery::Parse(text + "]]").ok());
}

}  // namespace
}  // namespace varnel::formats
