#include "formats/event_xml_reader.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/iso_time.h"

namespace varnel::formats {
namespace {

// An unclean restart as a current version writes it, shortened.
constexpr char kCrash[] =
    "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider "
    "Name='Microsoft-Windows-Kernel-Power' Guid='{331c3b3a-2005-44c2-ac5e-77220c37d6b4}'/><EventID>41</EventID>"
    "<Version>10</Version><Level>1</Level><Task>63</Task><Opcode>0</Opcode><Keywords>0x8000400000000002</Keywords>"
    "<TimeCreated SystemTime='2026-11-21T10:00:00.1234567Z'/><EventRecordID>887</EventRecordID><Correlation "
    "ActivityID='{00000000-0000-0000-0000-000000000001}'/><Execution ProcessID='4' ThreadID='8'/>"
    "<Channel>System</Channel><Computer>PC &amp; Co</Computer><Security UserID='S-1-5-18'/></System><EventData>"
    "<Data Name='BugcheckCode'>159</Data><Data Name='BugcheckParameter1'>0x3</Data><Data Name='Empty'></Data>"
    "</EventData></Event>";

TEST(EventXmlReader, ReadsEveryFieldOfAnEvent) {
  const auto read = ReadEventXml(kCrash);
  ASSERT_TRUE(read.ok());
  const LoggedEvent& event = read.value();
  EXPECT_EQ(event.provider_name, "Microsoft-Windows-Kernel-Power");
  EXPECT_EQ(event.provider_guid, "{331c3b3a-2005-44c2-ac5e-77220c37d6b4}");
  EXPECT_EQ(event.event_id, 41u);
  EXPECT_EQ(event.version, 10u);
  EXPECT_EQ(event.level, 1u);
  EXPECT_EQ(event.task, 63u);
  EXPECT_EQ(event.opcode, 0u);
  EXPECT_EQ(event.keywords, 0x8000400000000002u);
  EXPECT_EQ(event.time_created, ParseIsoTime("2026-11-21T10:00:00.1234567Z"));
  EXPECT_EQ(event.record_id, 887u);
  EXPECT_TRUE(event.has_correlation);
  EXPECT_EQ(event.activity_id, "{00000000-0000-0000-0000-000000000001}");
  EXPECT_EQ(event.related_activity_id, "");
  EXPECT_EQ(event.process_id, 4u);
  EXPECT_EQ(event.thread_id, 8u);
  EXPECT_EQ(event.channel, "System");
  EXPECT_EQ(event.computer, "PC & Co");
  EXPECT_EQ(event.user_id, "S-1-5-18");
  ASSERT_EQ(event.data.size(), 3u);
  EXPECT_EQ(event.data[0].name, "BugcheckCode");
  EXPECT_EQ(event.data[0].value, "159");
  EXPECT_EQ(event.data[2].value, "");
}

TEST(EventXmlReader, ReadsUnnamedDataAndBinaryOfAClassicSource) {
  const auto read = ReadEventXml(
      "<Event><System><Provider Name=\"EventLog\"/><EventID Qualifiers=\"32768\">6008</EventID>"
      "<TimeCreated SystemTime=\"2026-11-21T10:00:00.000000000Z\"/><EventRecordID>7</EventRecordID></System>"
      "<EventData><Data>9:59:13</Data><Data/><Binary>DC07</Binary></EventData></Event>");
  ASSERT_TRUE(read.ok());
  const LoggedEvent& event = read.value();
  EXPECT_EQ(event.qualifiers, 32768u);
  EXPECT_FALSE(event.version);
  EXPECT_FALSE(event.has_correlation);
  EXPECT_FALSE(event.process_id);
  ASSERT_EQ(event.data.size(), 3u);
  EXPECT_FALSE(event.data[0].name);
  EXPECT_EQ(event.data[0].value, "9:59:13");
  EXPECT_EQ(event.data[1].value, "");
  EXPECT_EQ(event.data[2].kind, LoggedEventData::Kind::kBinary);
  EXPECT_EQ(event.data[2].value, "DC07");
}

TEST(EventXmlReader, KeepsUserDataAndRenderingAsTheyStand) {
  const auto read = ReadEventXml(
      "<Event><System><EventID>104</EventID><EventRecordID>1</EventRecordID></System>\n  <UserData>\n"
      "<LogFileCleared xmlns=\"x\"><Channel>System</Channel><BackupPath></BackupPath></LogFileCleared>\n</UserData>"
      "<RenderingInfo Culture='en-US'><Message>It's\r\nclear</Message><Task/></RenderingInfo></Event>");
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(read.value().user_data,
            "<UserData><LogFileCleared xmlns='x'><Channel>System</Channel><BackupPath></BackupPath></LogFileCleared>"
            "</UserData>");
  EXPECT_EQ(read.value().rendering_info,
            "<RenderingInfo Culture='en-US'><Message>It&apos;s&#xA;clear</Message><Task/></RenderingInfo>");
}

TEST(EventXmlReader, MeetsNamesWithoutTheirPrefix) {
  const auto read = ReadEventXml(
      "<e:Event xmlns:e='x'><e:System><e:EventID>12</e:EventID><e:EventRecordID>3</e:EventRecordID></e:System>"
      "</e:Event>");
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(read.value().event_id, 12u);
}

TEST(EventXmlReader, TellsWhyAnEventCannotBeRead) {
  for (const char* text : {"", "<Event>", "<Other/>", "<Event/>", "<Event><System/></Event>",
                           "<Event><System><EventID>1</EventID></System></Event>",
                           "<Event><System><EventRecordID>x</EventRecordID><EventID>1</EventID></System></Event>",
                           "<Event><System><EventRecordID>1</EventRecordID></System></Event>",
                           "<Event><System><EventRecordID>1</EventRecordID><EventID>-1</EventID></System></Event>"}) {
    const auto read = ReadEventXml(text);
    ASSERT_FALSE(read.ok()) << text;
    EXPECT_FALSE(read.error().message.empty()) << text;
  }
}

TEST(EventXmlReader, IsUsedAgainAfterABadText) {
  EventDocument document;
  EXPECT_EQ(document.event(), nullptr);
  EXPECT_TRUE(document.Parse(kCrash));
  EXPECT_FALSE(document.Parse("<Event><System>"));
  EXPECT_EQ(document.event(), nullptr);
  ASSERT_TRUE(document.Parse(kCrash));
  const auto identity = IdentityOf(*document.event());
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->record_id, 887u);
  EXPECT_EQ(identity->provider_name, "Microsoft-Windows-Kernel-Power");
}

TEST(EventXmlReader, GivesATimeThatIsNoneAsZero) {
  const auto read = ReadEventXml(
      "<Event><System><EventID>1</EventID><TimeCreated SystemTime='soon'/><EventRecordID>1</EventRecordID></System>"
      "</Event>");
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(read.value().time_created, 0u);
}

}  // namespace
}  // namespace varnel::formats
