#include "formats/event_xml_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/event_xml_reader.h"
#include "formats/iso_time.h"

namespace varnel::formats {
namespace {

std::string Again(std::string_view xml, ElementOrigin origin) {
  EventDocument document;
  if (!document.Parse(xml)) return "not read";
  std::string out;
  AppendElement(*document.event(), origin, &out);
  return out;
}

TEST(EventXmlWriter, WritesABootAsThePlatformDoes) {
  LoggedEvent event;
  event.provider_name = "Microsoft-Windows-Kernel-General";
  event.provider_guid = "{a68ca8b7-004f-d7b6-a698-07e2de0f1f5d}";
  event.event_id = 12;
  event.version = 0;
  event.level = 4;
  event.task = 1;
  event.opcode = 0;
  event.keywords = 0x8000000000000080;
  event.time_created = *ParseIsoTime("2026-11-21T10:00:00.1234567Z");
  event.record_id = 3;
  event.has_correlation = true;
  event.process_id = 4;
  event.thread_id = 8;
  event.channel = "System";
  event.computer = "PC";
  event.user_id = "S-1-5-18";
  event.data.push_back({LoggedEventData::Kind::kData, "MajorVersion", "10"});
  event.data.push_back({LoggedEventData::Kind::kData, std::nullopt, ""});
  event.data.push_back({LoggedEventData::Kind::kBinary, std::nullopt, "00FF"});
  EXPECT_EQ(WriteEventXml(event),
            "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider "
            "Name='Microsoft-Windows-Kernel-General' Guid='{a68ca8b7-004f-d7b6-a698-07e2de0f1f5d}'/>"
            "<EventID>12</EventID><Version>0</Version><Level>4</Level><Task>1</Task><Opcode>0</Opcode>"
            "<Keywords>0x8000000000000080</Keywords><TimeCreated SystemTime='2026-11-21T10:00:00.1234567Z'/>"
            "<EventRecordID>3</EventRecordID><Correlation/><Execution ProcessID='4' ThreadID='8'/>"
            "<Channel>System</Channel><Computer>PC</Computer><Security UserID='S-1-5-18'/></System><EventData>"
            "<Data Name='MajorVersion'>10</Data><Data></Data><Binary>00FF</Binary></EventData></Event>");
}

TEST(EventXmlWriter, WritesWhatItReads) {
  for (const char* xml :
       {"<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider Name='EventLog'/>"
        "<EventID Qualifiers='32768'>6008</EventID><Level>2</Level><Task>0</Task><Keywords>0x80000000000000"
        "</Keywords><TimeCreated SystemTime='2026-11-21T10:00:00.0000000Z'/><EventRecordID>9</EventRecordID>"
        "<Channel>System</Channel><Computer>&lt;PC&gt; &quot;a&apos;</Computer><Security/></System><EventData>"
        "<Data>9:59</Data><Data></Data></EventData></Event>",
        "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider Name='A' "
        "Guid='{1}' EventSourceName='B'/><EventID>1</EventID><TimeCreated "
        "SystemTime='2026-11-21T10:00:00.0000001Z'/><EventRecordID>9</EventRecordID><Correlation ActivityID='{2}' "
        "RelatedActivityID='{3}'/><Channel>System</Channel><Computer>PC</Computer><Security/></System><UserData><x "
        "a='1'><y></y></x></UserData><RenderingInfo Culture='en-US'><Task/></RenderingInfo></Event>"}) {
    const auto read = ReadEventXml(xml);
    ASSERT_TRUE(read.ok());
    EXPECT_EQ(WriteEventXml(read.value()), xml);
    EXPECT_EQ(Again(xml, ElementOrigin::kPlatform), xml);
  }
}

TEST(EventXmlWriter, TakesLayoutAndDoubleQuotesAway) {
  EXPECT_EQ(Again("<?xml version=\"1.0\"?>\r\n<Event>\r\n  <System>\r\n    <EventID>1</EventID><!-- no -->\r\n"
                  "  </System>\r\n</Event>\r\n",
                  ElementOrigin::kPlatform),
            "<Event><System><EventID>1</EventID></System></Event>");
}

TEST(EventXmlWriter, KeepsBlanksOfATextAndEscapesItsLineEnds) {
  EXPECT_EQ(Again("<Event><EventData><Data> a&#xD;&#xA;b&#x9;</Data></EventData></Event>", ElementOrigin::kPlatform),
            "<Event><EventData><Data> a&#xD;&#xA;b&#x9;</Data></EventData></Event>");
}

TEST(EventXmlWriter, GivesLibevtxNumbersAndTimesThePlatformsWidth) {
  EXPECT_EQ(Again("<Event>\n  <System>\n    <Keywords>0x0080000000000000</Keywords>\n"
                  "    <TimeCreated SystemTime=\"2026-11-21T10:00:00.123456700Z\"/>\n    <Correlation/>\n  </System>\n"
                  "  <EventData>\n    <Data Name=\"a\">0x0000000000041792</Data>\n    <Data>0x00000000</Data>\n"
                  "    <Data Name=\"b\">2026-11-21T10:00:00.500000000Z</Data>\n    <Data Name=\"e\"/>\n"
                  "  </EventData>\n</Event>\n",
                  ElementOrigin::kLibevtx),
            "<Event><System><Keywords>0x80000000000000</Keywords><TimeCreated "
            "SystemTime='2026-11-21T10:00:00.1234567Z'/><Correlation/></System><EventData><Data "
            "Name='a'>0x41792</Data><Data>0x0</Data><Data Name='b'>2026-11-21T10:00:00.5000000Z</Data><Data "
            "Name='e'></Data></EventData></Event>");
}

TEST(EventXmlWriter, LeavesTextsOfLibevtxThatOnlyResembleNumbers) {
  const std::string texts =
      "<Event><EventData><Data>0x0000009f (0x0000000000000003)</Data><Data>0x0000009F</Data><Data>0x009f</Data>"
      "<Data>2026-11-21T10:00:00.123456789Z</Data></EventData></Event>";
  EXPECT_EQ(Again(texts, ElementOrigin::kLibevtx), texts);
}

}  // namespace
}  // namespace varnel::formats
