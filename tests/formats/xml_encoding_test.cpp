#include "formats/xml_encoding.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

using namespace std::string_view_literals;

TEST(XmlEncoding, BelievesTheByteOrderMarkFirst) {
  EXPECT_EQ(EncodingOfXml("\xEF\xBB\xBF<?xml version='1.0' encoding='windows-1252'?>").name, "UTF-8");
  EXPECT_EQ(EncodingOfXml("\xEF\xBB\xBF<x/>").mark_bytes, 3u);
  EXPECT_EQ(EncodingOfXml("\xFF\xFE<\0"sv).name, "UTF-16LE");
  EXPECT_EQ(EncodingOfXml("\xFE\xFF\0<"sv).name, "UTF-16BE");
  EXPECT_EQ(EncodingOfXml("\xFE\xFF\0<"sv).mark_bytes, 2u);
}

TEST(XmlEncoding, BelievesTheDeclarationNext) {
  EXPECT_EQ(EncodingOfXml("<?xml version=\"1.0\" encoding=\"windows-1252\" standalone='yes'?><x/>").name,
            "WINDOWS-1252");
  EXPECT_TRUE(EncodingOfXml("<?xml version='1.0' encoding='ibm850'?>").stated);
  EXPECT_EQ(EncodingOfXml("<?xml version='1.0' encoding='utf-8'?>").name, "UTF-8");
  EXPECT_TRUE(EncodingOfXml("<?xml version='1.0' encoding='utf-8'?>").stated);
}

TEST(XmlEncoding, AssumesUtf8Otherwise) {
  for (const char* text : {"", "<Event/>", "<?xml version='1.0'?>", "<?xml encoding=", "<?xml encoding='x"}) {
    EXPECT_EQ(EncodingOfXml(text).name, "UTF-8") << text;
    EXPECT_FALSE(EncodingOfXml(text).stated) << text;
  }
}

TEST(XmlEncoding, KnowsUtf16WithoutAMarkByItsZeros) {
  EXPECT_EQ(EncodingOfXml("<\0?\0x\0"sv).name, "UTF-16LE");
  EXPECT_EQ(EncodingOfXml("\0<\0E"sv).name, "UTF-16BE");
}

TEST(XmlEncoding, DoesNotBelieveAUtf16DeclarationInSingleBytes) {
  EXPECT_EQ(EncodingOfXml("<?xml version='1.0' encoding='UTF-16'?>").name, "UTF-8");
}

TEST(XmlEncoding, CutsBetweenCharacters) {
  EXPECT_EQ(WholeUtf8(""), 0u);
  EXPECT_EQ(WholeUtf8("ab"), 2u);
  EXPECT_EQ(WholeUtf8("a\xC3"), 1u);
  EXPECT_EQ(WholeUtf8("a\xC3\xA4"), 3u);
  EXPECT_EQ(WholeUtf8("a\xE2\x82"), 1u);
  EXPECT_EQ(WholeUtf8("a\xF0\x9F\x98"), 1u);
  EXPECT_EQ(WholeUtf8("a\xF0\x9F\x98\x80"), 5u);
  EXPECT_EQ(WholeUtf8("\x80\x80\x80\x80"), 4u) << "nothing begins in reach";
}

TEST(XmlEncoding, CountsPlacesThatAreNotValid) {
  EXPECT_EQ(CountInvalidUtf8("abc \xC3\xA4"), 0u);
  EXPECT_EQ(CountInvalidUtf8("a\xFF\xFE"
                             "b"),
            2u);
  EXPECT_EQ(CountInvalidUtf8("\xEF\xBF\xBD"), 0u) << "a replacement that stood there before";
}

}  // namespace
}  // namespace varnel::formats
