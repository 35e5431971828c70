#include "crash/crash_event_xml.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

using testing::DataElements;
using testing::FileTimeOf;
using testing::LogEventXml;
using testing::Widened;

struct Header {
  std::uint32_t found = 7;
  std::uint32_t id = 7;
  std::uint64_t time = 7;
};

class CrashEventXmlTest : public testing::CrashTest {
 protected:
  static Header Parse(const std::u16string& xml) {
    Header header;
    header.found = ParseEventHeader(xml.c_str(), &header.id, &header.time);
    return header;
  }
  static std::uint64_t TimeOf(const std::string& system_time) {
    const Header header = Parse(LogEventXml("12", system_time, ""));
    EXPECT_EQ(header.found, 1u) << system_time;
    return header.time;
  }
  static bool LosesEvent(const std::string& xml) {
    const Header header = Parse(Widened(xml));
    return header.found == 0 && header.id == 0 && header.time == 0;
  }
  static CrashEventRecord ParseData(const std::string& elements) {
    CrashEventRecord record{};
    ParseBugcheckData(LogEventXml("41", "2026-02-03T01:02:03Z", elements).c_str(), &record);
    return record;
  }
};

TEST_F(CrashEventXmlTest, TheHeadHasTheNumberAndTheTime) {
  const Header header = Parse(LogEventXml("41", "2026-02-03T01:02:03.4560000Z", ""));
  EXPECT_EQ(header.found, 1u);
  EXPECT_EQ(header.id, 41u);
  EXPECT_EQ(header.time, FileTimeOf(2026, 2, 3, 1, 2, 3, 456));
}

TEST_F(CrashEventXmlTest, ATimeIsCutToTheMillisecond) {
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03.1234567Z"), FileTimeOf(2026, 2, 3, 1, 2, 3, 123));
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03.0009999Z"), FileTimeOf(2026, 2, 3, 1, 2, 3, 0));
}

TEST_F(CrashEventXmlTest, ATimeWithoutAFractionIsAcceptedWith0Milliseconds) {
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03Z"), FileTimeOf(2026, 2, 3, 1, 2, 3));
}

TEST_F(CrashEventXmlTest, AFractionOfMoreThanSevenDigitsIsReadForItsFirstSeven) {
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03.123456700Z"), FileTimeOf(2026, 2, 3, 1, 2, 3, 123));
}

TEST_F(CrashEventXmlTest, AShortFractionIsTakenForTheLastOfSevenDigits) {
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03.5Z"), FileTimeOf(2026, 2, 3, 1, 2, 3));
  EXPECT_EQ(TimeOf("2026-02-03T01:02:03.50000Z"), FileTimeOf(2026, 2, 3, 1, 2, 3, 5));
}

TEST_F(CrashEventXmlTest, ATimeThatIsNoDateComesOutAs0) {
  EXPECT_EQ(TimeOf("2026-13-03T01:02:03Z"), 0u);
  EXPECT_EQ(TimeOf("1600-01-03T01:02:03Z"), 0u);
}

TEST_F(CrashEventXmlTest, ATimeWithFewerThanSixFieldsLosesTheEvent) {
  for (const char* time : {"", "2026", "2026-02-03", "2026-02-03T01:02", "2026-02-03 01:02:03", "today"}) {
    EXPECT_EQ(Parse(LogEventXml("12", time, "")).found, 0u) << time;
  }
}

TEST_F(CrashEventXmlTest, TheNumberIsReadInBase10AsFarAsItIsOne) {
  EXPECT_EQ(Parse(LogEventXml("0012", "2026-02-03T01:02:03Z", "")).id, 12u);
  EXPECT_EQ(Parse(LogEventXml("41 and more", "2026-02-03T01:02:03Z", "")).id, 41u);
  EXPECT_EQ(Parse(LogEventXml("no number", "2026-02-03T01:02:03Z", "")).id, 0u);
  EXPECT_EQ(Parse(LogEventXml("4294967308", "2026-02-03T01:02:03Z", "")).id, 0x7FFFFFFFu);
}

TEST_F(CrashEventXmlTest, QuotesMayBeSingleOrDouble) {
  EXPECT_EQ(Parse(Widened("<Event><System><EventID>12</EventID>"
                          "<TimeCreated SystemTime=\"2026-02-03T01:02:03Z\"/></System></Event>"))
                .id,
            12u);
}

TEST_F(CrashEventXmlTest, WhatIsMissingOrNotNamedExactlyLosesTheEvent) {
  const std::string created = "<TimeCreated SystemTime='2026-02-03T01:02:03Z'/>";
  const std::string id = "<EventID>12</EventID>";
  EXPECT_TRUE(LosesEvent(""));
  EXPECT_TRUE(LosesEvent("no XML"));
  EXPECT_TRUE(LosesEvent("<Event><System>" + id + created + "</System>")) << "not closed";
  EXPECT_TRUE(LosesEvent("<Other><System>" + id + created + "</System></Other>"));
  EXPECT_TRUE(LosesEvent("<Event>" + id + created + "</Event>"));
  EXPECT_TRUE(LosesEvent("<Event><system>" + id + created + "</system></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System>" + created + "</System></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System><EventID></EventID>" + created + "</System></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System><EventID/>" + created + "</System></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System>" + id + "</System></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System>" + id + "<TimeCreated/></System></Event>"));
  EXPECT_TRUE(LosesEvent("<Event><System>" + id + "<TimeCreated systemtime='2026-02-03T01:02:03Z'/></System></Event>"));
}

TEST_F(CrashEventXmlTest, ANullTextIsNoEvent) {
  Header header;
  EXPECT_EQ(ParseEventHeader(nullptr, &header.id, &header.time), 0u);
  EXPECT_EQ(header.id, 0u);
  EXPECT_EQ(header.time, 0u);
}

TEST_F(CrashEventXmlTest, EachCallThatFailsLosesTheEvent) {
  const std::u16string xml = testing::BootEventXml(testing::At(1));
  for (const char* operation : {"WideCharToMultiByte", "HeapAlloc"}) {
    const unsigned calls = faults_.CountOf(operation);
    ASSERT_EQ(Parse(xml).found, 1u);
    const unsigned needed = faults_.CountOf(operation) - calls;
    for (unsigned nth = 1; nth <= needed; ++nth) {
      faults_.Fail({operation, nth, false, 8});
      EXPECT_EQ(Parse(xml).found, 0u) << operation << " " << nth;
    }
    EXPECT_EQ(Parse(xml).found, 1u);
    faults_.Clear();
  }
  ExpectNothingOpen();
}

TEST_F(CrashEventXmlTest, ATimeThatCannotBeConvertedIs0AndKeepsTheEvent) {
  faults_.Fail("SystemTimeToFileTime", 87);
  const Header header = Parse(testing::BootEventXml(testing::At(1)));
  EXPECT_EQ(header.found, 1u);
  EXPECT_EQ(header.id, 12u);
  EXPECT_EQ(header.time, 0u);
}

TEST_F(CrashEventXmlTest, TheStopErrorAndItsParametersAreReadByName) {
  const CrashEventRecord record = ParseData(DataElements({{"BugcheckParameter4", "0x4"},
                                                          {"BugcheckParameter2", "0xfffff80312345678"},
                                                          {"SleepInProgress", "5"},
                                                          {"BugcheckCode", "0x9f"},
                                                          {"BugcheckParameter1", "0x1"},
                                                          {"BugcheckParameter3", "0xffffffffffffffff"}}));
  EXPECT_EQ(record.BugcheckCode, 0x9Fu);
  EXPECT_EQ(record.BugcheckParameter1, 1u);
  EXPECT_EQ(record.BugcheckParameter2, 0xFFFFF80312345678u);
  EXPECT_EQ(record.BugcheckParameter3, 0xFFFFFFFFFFFFFFFFu);
  EXPECT_EQ(record.BugcheckParameter4, 4u);
}

TEST_F(CrashEventXmlTest, EveryNumberIsReadInBase16WhateverItLooksLike) {
  EXPECT_EQ(ParseData(DataElements({{"BugcheckCode", "159"}})).BugcheckCode, 0x159u);
  EXPECT_EQ(ParseData(DataElements({{"BugcheckCode", "0x9F"}})).BugcheckCode, 0x9Fu);
  EXPECT_EQ(ParseData(DataElements({{"BugcheckCode", "9f and more"}})).BugcheckCode, 0x9Fu);
  EXPECT_EQ(ParseData(DataElements({{"BugcheckCode", "zero"}})).BugcheckCode, 0u);
  EXPECT_EQ(ParseData(DataElements({{"BugcheckCode", "1ffffffffffffffff"}})).BugcheckCode, ~std::uint64_t{0});
}

TEST_F(CrashEventXmlTest, ADataElementWithoutTextOrNameIsPassedOverAndTheRestAreRead) {
  const CrashEventRecord record = ParseData(
      "<Data>77</Data><Data Name='BugcheckCode'></Data><Data Name='BugcheckParameter1'/>"
      "<Data Name='BugcheckParameter2'>2</Data>");
  EXPECT_EQ(record.BugcheckCode, 0u);
  EXPECT_EQ(record.BugcheckParameter1, 0u);
  EXPECT_EQ(record.BugcheckParameter2, 2u);
}

TEST_F(CrashEventXmlTest, ANameInAnotherCaseIsAnotherName) {
  EXPECT_EQ(ParseData(DataElements({{"bugcheckcode", "1"}, {"BugcheckParameter", "1"}})).BugcheckCode, 0u);
}

TEST_F(CrashEventXmlTest, WithoutDataTheRecordStaysAsItIs) {
  for (const char* xml : {"", "no XML", "<Other/>", "<Event/>", "<Event><UserData/></Event>"}) {
    CrashEventRecord record{};
    record.BugcheckCode = 5;
    record.BugcheckParameter3 = 6;
    ParseBugcheckData(Widened(xml).c_str(), &record);
    EXPECT_EQ(record.BugcheckCode, 5u);
    EXPECT_EQ(record.BugcheckParameter3, 6u);
  }
}

}  // namespace
}  // namespace varnel
