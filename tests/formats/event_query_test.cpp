#include "formats/event_query.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/event_xml_reader.h"
#include "formats/iso_time.h"

namespace varnel::formats {
namespace {

constexpr char kEvent[] =
    "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider "
    "Name='Microsoft-Windows-Kernel-Power' Guid='{331c3b3a-2005-44c2-ac5e-77220c37d6b4}'/><EventID "
    "Qualifiers='5'>41</EventID><Level>1</Level><Keywords>0x8000400000000002</Keywords>"
    "<TimeCreated SystemTime='2026-11-21T10:00:00.5000000Z'/><EventRecordID>887</EventRecordID>"
    "<Computer>PC</Computer></System><EventData><Data Name='BugcheckCode'>159</Data>"
    "<Data Name='BugcheckParameter1'>0x3</Data><Data Name='StartTime'>2026-11-20T09:00:00.0000000Z</Data>"
    "<Data>x</Data></EventData></Event>";

bool Matches(std::string_view query, std::string_view now = "2026-11-21T11:00:00.5Z") {
  EventDocument document;
  EXPECT_TRUE(document.Parse(kEvent));
  const auto parsed = EventQuery::Parse(query);
  EXPECT_TRUE(parsed.ok()) << query;
  return parsed.ok() && parsed.value()->Matches(*document.event(), *ParseIsoTime(now));
}

TEST(EventQuery, AsksForNumbersJoinedByOrAndBrackets) {
  EXPECT_TRUE(Matches("*[System[(EventID=12 or EventID=41)]]"));
  EXPECT_FALSE(Matches("*[System[(EventID=12 or EventID=42)]]"));
  EXPECT_TRUE(Matches("*[System[EventID=41 and Level=1]]"));
  EXPECT_FALSE(Matches("*[System[EventID=41 and Level=2]]"));
  EXPECT_TRUE(Matches("*[System[EventID=12 and Level=2 or Level=1]]")) << "and binds closer than or";
  EXPECT_FALSE(Matches("*[System[EventID=12 and (Level=2 or Level=1)]]"));
  EXPECT_TRUE(Matches("*[System[EventID>=41 and EventID<=41 and EventID>40 and EventID<42 and EventID!=40]]"));
  EXPECT_FALSE(Matches("*[System[EventID>41]]"));
  EXPECT_TRUE(Matches("*[System[EventID=0x29]]"));
}

TEST(EventQuery, TakesPathsAndSeveralPredicates) {
  EXPECT_TRUE(Matches("*"));
  EXPECT_TRUE(Matches("Event"));
  EXPECT_TRUE(Matches("Event/System[EventID=41]"));
  EXPECT_FALSE(Matches("Event/System[EventID=12]"));
  EXPECT_TRUE(Matches("*[System/EventID=41]"));
  EXPECT_TRUE(Matches("*[System/EventID/@Qualifiers=5]"));
  EXPECT_TRUE(Matches("Event[System[EventID=41]][EventData[Data='x']]"));
  EXPECT_FALSE(Matches("Event[System[EventID=41]][EventData[Data='y']]"));
  EXPECT_FALSE(Matches("*[UserData]"));
  EXPECT_TRUE(Matches("*[*/EventID=41]"));
  EXPECT_FALSE(Matches("*[system[EventID=41]]")) << "names are met exactly";
}

TEST(EventQuery, ComparesAttributes) {
  EXPECT_TRUE(Matches("*[System[Provider[@Name='Microsoft-Windows-Kernel-Power']]]"));
  EXPECT_FALSE(Matches("*[System[Provider[@Name='microsoft-windows-kernel-power']]]"));
  EXPECT_TRUE(Matches("*[System[Provider[@Name!='x']]]"));
  EXPECT_TRUE(Matches("*[System[Provider[@Guid='{331C3B3A-2005-44C2-AC5E-77220C37D6B4}']]]")) << "of either case";
  EXPECT_FALSE(Matches("*[System[Provider[@Guid!='{331C3B3A-2005-44C2-AC5E-77220C37D6B4}']]]"));
  EXPECT_TRUE(Matches("*[System[Provider[@*='Microsoft-Windows-Kernel-Power']]]"));
  EXPECT_FALSE(Matches("*[System[Provider[@EventSourceName]]]"));
}

TEST(EventQuery, ComparesTimesAsTimes) {
  EXPECT_TRUE(Matches("*[System[TimeCreated[@SystemTime>='2026-11-21T10:00:00.500Z']]]"));
  EXPECT_FALSE(Matches("*[System[TimeCreated[@SystemTime>'2026-11-21T10:00:00.500Z']]]"));
  EXPECT_TRUE(Matches("*[System[TimeCreated[@SystemTime='2026-11-21T10:00:00.500000000Z']]]"));
  EXPECT_TRUE(Matches("*[EventData[Data[@Name='StartTime']<'2026-11-20T09:00:00.001']]"));
  EXPECT_FALSE(Matches("*[System[TimeCreated[@SystemTime<'2026']]]")) << "no time, no number";
}

TEST(EventQuery, CountsMillisecondsUpToNow) {
  EXPECT_TRUE(Matches("*[System[TimeCreated[timediff(@SystemTime) = 3600000]]]"));
  EXPECT_FALSE(Matches("*[System[TimeCreated[timediff(@SystemTime) < 3600000]]]"));
  EXPECT_TRUE(Matches("*[System[TimeCreated[timediff(@SystemTime) <= 86400000]]]", "2026-11-22T10:00:00.5Z"));
  EXPECT_FALSE(Matches("*[System[TimeCreated[timediff(@SystemTime) <= 86400000]]]", "2026-11-22T10:00:00.502Z"));
  EXPECT_TRUE(Matches("*[System[TimeCreated[timediff(@SystemTime) = 0]]]", "2020-01-01T00:00:00Z"));
  EXPECT_TRUE(Matches("*[System[TimeCreated[timediff(@SystemTime,'2026-11-21T10:00:01.5Z') = 1000]]]"));
}

TEST(EventQuery, MasksBits) {
  EXPECT_TRUE(Matches("*[System[band(Keywords,0x8000000000000000)]]"));
  EXPECT_FALSE(Matches("*[System[band(Keywords,1)]]"));
  EXPECT_TRUE(Matches("*[System[band(Keywords,3)=2]]"));
  EXPECT_FALSE(Matches("*[System[band(Computer,3)]]"));
}

TEST(EventQuery, ComparesNamedDataByValue) {
  EXPECT_TRUE(Matches("*[EventData[Data[@Name='BugcheckCode']=159]]"));
  EXPECT_TRUE(Matches("*[EventData[Data[@Name='BugcheckCode']='159']]"));
  EXPECT_TRUE(Matches("*[EventData[Data[@Name='BugcheckParameter1']=3]]"));
  EXPECT_FALSE(Matches("*[EventData[Data[@Name='BugcheckCode']=160]]"));
  EXPECT_TRUE(Matches("*[EventData[Data[@Name='BugcheckCode'] and Data='0x3']]"));
  EXPECT_TRUE(Matches("*[EventData/Data[2]='0x3']"));
  EXPECT_FALSE(Matches("*[EventData/Data[1]='0x3']"));
  EXPECT_TRUE(Matches("*[EventData/Data[@Name][3]>'2026-11-20T08:00:00Z']"))
      << "counts what the first test let through";
}

}  // namespace
}  // namespace varnel::formats
