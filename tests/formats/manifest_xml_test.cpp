#include "formats/manifest_xml.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

const tinyxml2::XMLElement& Parse(tinyxml2::XMLDocument* document, const char* text) {
  EXPECT_EQ(document->Parse(text), tinyxml2::XML_SUCCESS);
  return *document->RootElement();
}

TEST(ManifestXml, NamesAreComparedWithoutTheirPrefixes) {
  EXPECT_EQ(LocalName("win:UInt32"), "UInt32");
  EXPECT_EQ(LocalName("UInt32"), "UInt32");
  tinyxml2::XMLDocument document;
  const auto& root = Parse(&document, "<a><x:b n='1'/><c/><b n='2'/></a>");
  const auto* first = FirstChild(root, "b");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Attribute(*first, "n"), "1");
  EXPECT_EQ(Attribute(*NextSibling(*first, "b"), "n"), "2");
  EXPECT_EQ(NextSibling(*NextSibling(*first, "b"), "b"), nullptr);
  EXPECT_EQ(FirstChild(root, "d"), nullptr);
}

TEST(ManifestXml, AttributesLoseTheirBlanksAndKeepTheirEntities) {
  tinyxml2::XMLDocument document;
  const auto& root = Parse(&document, "<a one=' x y ' TWO='&amp;' three='  '/>");
  EXPECT_EQ(Attribute(root, "one"), "x y");
  EXPECT_EQ(Attribute(root, "two"), "&");
  EXPECT_EQ(Attribute(root, "three"), "");
  EXPECT_EQ(Attribute(root, "four"), "");
}

TEST(ManifestXml, NumbersAreDecimalOrHexadecimalAndNothingElse) {
  EXPECT_EQ(ParseNumber("0"), 0u);
  EXPECT_EQ(ParseNumber("18446744073709551615"), ~std::uint64_t{0});
  EXPECT_EQ(ParseNumber("0xfF"), 255u);
  EXPECT_EQ(ParseNumber("0X10"), 16u);
  for (const char* text : {"", "0x", "-1", "+1", "1 ", "x", "18446744073709551616", "1.0"}) {
    EXPECT_FALSE(ParseNumber(text).has_value()) << text;
  }
}

TEST(ManifestXml, ErrorsTellFileAndLineOfTheElement) {
  tinyxml2::XMLDocument document;
  const auto& root = Parse(&document, "<a>\n\n<b v='300'/></a>");
  const ManifestErrors errors("dir/m.man");
  EXPECT_EQ(errors.At(*FirstChild(root, "b"), "reason").message, "dir/m.man:3: reason");
  const auto number = NumberAttribute(*FirstChild(root, "b"), "v", 0, 255, errors);
  ASSERT_FALSE(number.ok());
  EXPECT_EQ(number.error().message, "dir/m.man:3: <b> has a v \"300\" that is no number up to 255");
  EXPECT_EQ(NumberAttribute(root, "v", 7, 255, errors).value(), 7u) << "the default";
}

}  // namespace
}  // namespace varnel::formats
