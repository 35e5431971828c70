#include "platform/embedded/eventlog/xml_log_source.h"

#include "formats/text_encoding.h"
#include "log_files.h"

namespace varnel::embedded {
namespace {

using XmlLogSourceTest = LogFiles;

std::string Utf16(const std::string& text) {
  const std::u16string wide = formats::Utf8ToUtf16(text);
  return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
}

TEST_F(XmlLogSourceTest, ReadsExportsWithAndWithoutARootInEveryEncoding) {
  const std::string events = Xml(1, 7, 1, "P", "\xC3\xA4") + "\r\n" + Xml(2);
  const std::string latin = Xml(1, 7, 1, "P", "\xE4") + Xml(2);
  for (const std::string& text :
       {events, "\xEF\xBB\xBF" + events, Utf16(events),
        "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n<Events>" + events + "</Events>",
        "<?xml version='1.0' encoding='windows-1252'?><root>" + latin + "</root>"}) {
    const ReadLog read = ReadAll({Write("System.xml", text)});
    ASSERT_EQ(read.numbers, (Numbers{1, 2}));
    EXPECT_NE(read.texts[0].find("<Data Name='a'>\xC3\xA4</Data>"), std::string::npos) << read.texts[0];
    EXPECT_EQ(read.counts.replaced, 0u);
  }
}

TEST_F(XmlLogSourceTest, TakesTheNamedEncodingOnlyForATextThatSaysNothingAndIsNotUtf8) {
  LogReaderOptions options;
  options.otherwise_encoding = "CP850";
  const std::string oem = Write("oem.xml", Xml(1, 7, 1, "P", "\x84"));
  EXPECT_NE(ReadAll({oem}, options).texts[0].find("\xC3\xA4"), std::string::npos);
  const std::string utf8 = Write("utf8.xml", Xml(1, 7, 1, "P", "\xC3\xA4"));
  EXPECT_NE(ReadAll({utf8}, options).texts[0].find("\xC3\xA4"), std::string::npos);
}

TEST_F(XmlLogSourceTest, CountsTheCharactersThatItReplaces) {
  const ReadLog bytes = ReadAll({Write("System.xml", Xml(1, 7, 1, "P", "\xFF\xFE") + Xml(2))});
  EXPECT_EQ(bytes.numbers.size(), 2u);
  EXPECT_EQ(bytes.counts.replaced, 2u);
  EXPECT_NE(bytes.texts[0].find("\xEF\xBF\xBD\xEF\xBF\xBD"), std::string::npos);
  std::string wide = Utf16(Xml(1));
  const std::size_t at = wide.find(std::string("v\0<", 3));
  wide.replace(at, 2, std::string("\x00\xD8", 2));  // half of a pair
  const ReadLog read = ReadAll({Write("wide.xml", wide)});
  EXPECT_EQ(read.numbers.size(), 1u);
  EXPECT_EQ(read.counts.replaced, 1u);
}

TEST_F(XmlLogSourceTest, AnUnknownEncodingIsAnError) {
  const auto reader = LogReader::Open({Write("x.xml", "<?xml version='1.0' encoding='klingon'?>" + Xml(1))}, {});
  ASSERT_FALSE(reader.ok());
  EXPECT_NE(reader.error().message.find("KLINGON"), std::string::npos);
}

TEST_F(XmlLogSourceTest, PassesOverWhatIsDamagedAndCountsIt) {
  const std::string cut = Xml(2).substr(0, 150);
  const std::string bad = "<Event xmlns='x/events/event'><System><EventRecordID>3</EventRecordID></Systm></Event>";
  const std::string numberless = "<Event><System/></Event>";
  const ReadLog read = ReadAll({Write("System.xml", Xml(1) + cut + Xml(4) + bad + numberless + Xml(5))});
  EXPECT_EQ(read.numbers, (Numbers{1, 4, 5}));
  EXPECT_EQ(read.counts.skipped, 3u);
}

TEST_F(XmlLogSourceTest, KeepsTheTextOfAnEventInThePlatformsShape) {
  const std::string xml = Xml(1);
  EXPECT_EQ(ReadAll({Write("System.xml", "<Events>\n  " + xml + "\n</Events>")}).texts, std::vector<std::string>{xml});
}

}  // namespace
}  // namespace varnel::embedded
