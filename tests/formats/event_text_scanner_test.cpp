#include "formats/event_text_scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "formats/iso_time.h"

namespace varnel::formats {
namespace {

ReadTextAt FromText(const std::string& text) {
  return [&text](std::uint64_t offset, std::span<char> into) -> std::size_t {
    if (offset >= text.size()) return 0;
    const std::size_t size = std::min<std::size_t>(into.size(), text.size() - offset);
    std::memcpy(into.data(), text.data() + offset, size);
    return size;
  };
}

struct Scanned {
  std::vector<std::string> events;
  std::uint64_t skipped = 0;
};

Scanned ScanAll(const std::string& text) {
  EventTextScanner scanner(FromText(text), 0, text.size());
  Scanned scanned;
  EventTextScanner::Found found;
  while (scanner.Next(&found)) {
    EXPECT_EQ(text.substr(found.offset, found.text.size()), found.text);
    scanned.events.emplace_back(found.text);
  }
  scanned.skipped = scanner.skipped();
  return scanned;
}

std::string EventOf(int number) {
  return "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><EventRecordID>" +
         std::to_string(number) + "</EventRecordID></System></Event>";
}

TEST(EventTextScanner, FindsEventsWithAndWithoutARoot) {
  const std::string a = EventOf(1);
  const std::string b = EventOf(2);
  for (const std::string& text :
       {a + "\r\n" + b + "\r\n", a + b, "<?xml version=\"1.0\"?>\n<Events>" + a + b + "</Events>",
        "<root>\n" + a + "\n" + b + "\n</root>\n", "\xEF\xBB\xBF" + a + " text between " + b}) {
    const Scanned scanned = ScanAll(text);
    EXPECT_EQ(scanned.events, (std::vector<std::string>{a, b})) << text;
    EXPECT_EQ(scanned.skipped, 0u);
  }
}

TEST(EventTextScanner, FindsNothingInATextWithoutEvents) {
  for (const char* text : {"", "<", "<Event", "<Events></Events>", "<EventData>x</EventData>", "no tags at all"}) {
    EXPECT_TRUE(ScanAll(text).events.empty()) << text;
  }
}

TEST(EventTextScanner, PassesOverTagsInCommentsAndSections) {
  const std::string text = "<Event><System/><!-- </Event> --><![CDATA[</Event><Event>]]></Event>" + EventOf(2);
  const Scanned scanned = ScanAll(text);
  ASSERT_EQ(scanned.events.size(), 2u);
  EXPECT_EQ(scanned.events[1], EventOf(2));
}

TEST(EventTextScanner, TakesAnElementOfTheSameNameInTheDataAsData) {
  const std::string text = "<Event><System/><UserData><Event a='1'>x</Event><Event/></UserData></Event >" + EventOf(2);
  const Scanned scanned = ScanAll(text);
  ASSERT_EQ(scanned.events.size(), 2u);
  EXPECT_EQ(scanned.events[1], EventOf(2));
}

TEST(EventTextScanner, PassesOverAnEventThatIsCutAndCountsIt) {
  const std::string whole = EventOf(1);
  for (std::size_t cut = 7; cut < whole.size() - 8; cut += 3) {
    const Scanned scanned = ScanAll(whole.substr(0, cut) + EventOf(2) + EventOf(3));
    ASSERT_GE(scanned.events.size(), 1u) << cut;
    EXPECT_EQ(scanned.events.back(), EventOf(3)) << cut;
  }
  const Scanned scanned = ScanAll(EventOf(1) + whole.substr(0, 100));
  EXPECT_EQ(scanned.events.size(), 1u);
  EXPECT_EQ(scanned.skipped, 1u);
}

TEST(EventTextScanner, FindsTheNextOneBehindATagThatIsCut) {
  const std::string whole = EventOf(1);
  for (std::size_t cut = 6; cut < whole.find('>'); cut += 5) {
    const Scanned scanned = ScanAll(whole.substr(0, cut) + "\r\n" + EventOf(2));
    ASSERT_EQ(scanned.events, std::vector<std::string>{EventOf(2)}) << cut;
  }
}

TEST(EventTextScanner, FindsTheNextOneBehindACutEventWithoutANamespace) {
  const std::string good = "<Event>\n<System><EventRecordID>2</EventRecordID></System></Event>";
  const Scanned scanned = ScanAll("<Event><System><EventRecordID>1</Event" + good);
  ASSERT_EQ(scanned.events.size(), 1u);
  EXPECT_EQ(scanned.events[0], good);
  EXPECT_EQ(scanned.skipped, 1u);
}

TEST(EventTextScanner, FindsEventsAcrossTheEdgesOfItsWindow) {
  // Sizes around the window's own, so that tags are cut at each of their bytes.
  for (std::size_t blank = (256u << 10) - 120; blank < (256u << 10) + 20; ++blank) {
    const std::string text = std::string(blank, ' ') + EventOf(1) + EventOf(2);
    ASSERT_EQ(ScanAll(text).events.size(), 2u) << blank;
  }
}

TEST(EventTextScanner, TakesALargeEventAndRefusesOneThatIsTooLarge) {
  const auto large = [](std::size_t size) { return "<Event><System/><x>" + std::string(size, 'x') + "</x></Event>"; };
  const Scanned scanned = ScanAll(EventOf(1) + large(1u << 20) + large(20u << 20) + EventOf(4));
  ASSERT_EQ(scanned.events.size(), 3u);
  EXPECT_EQ(scanned.events[1], large(1u << 20));
  EXPECT_EQ(scanned.skipped, 1u);
}

TEST(EventTextScanner, EndsBeforeAPlaceButReadsTheLastEventWhole) {
  const std::string text = EventOf(1) + EventOf(2) + EventOf(3);
  EventTextScanner scanner(FromText(text), EventOf(1).size(), EventOf(1).size() + 1);
  EventTextScanner::Found found;
  ASSERT_TRUE(scanner.Next(&found));
  EXPECT_EQ(found.text, EventOf(2));
  EXPECT_FALSE(scanner.Next(&found));
}

TEST(EventTextScanner, ReadsNumberAndTimeWithoutParsing) {
  std::uint64_t number = 0;
  EXPECT_TRUE(RecordIdOfText("<Event><EventRecordID> 77 </EventRecordID></Event>", &number));
  EXPECT_EQ(number, 77u);
  EXPECT_FALSE(RecordIdOfText("<Event><EventRecordID>7x</EventRecordID></Event>", &number));
  EXPECT_FALSE(RecordIdOfText("<Event/>", &number));
  EXPECT_EQ(TimeOfText("<TimeCreated SystemTime=\"2026-11-21T10:00:00Z\"/>"), ParseIsoTime("2026-11-21T10:00:00Z"));
  EXPECT_EQ(TimeOfText("<TimeCreated SystemTime='x"), 0u);
  EXPECT_EQ(TimeOfText("<TimeCreated SystemTime="), 0u);
  EXPECT_EQ(TimeOfText(""), 0u);
}

}  // namespace
}  // namespace varnel::formats
