#include "formats/manifest_template.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

Result<EventLayout> Compile(const char* text) {
  tinyxml2::XMLDocument document;
  EXPECT_EQ(document.Parse(text), tinyxml2::XML_SUCCESS);
  return ReadTemplate(*document.RootElement(), {}, ManifestErrors("m"));
}

TEST(ManifestTemplate, UserDataChangesNoLayout) {
  const auto layout =
      Compile("<template tid='T'><data name='A' inType='win:UInt8'/><UserData><A/></UserData></template>");
  ASSERT_TRUE(layout.ok()) << layout.error().message;
  EXPECT_EQ(layout.value().properties.size(), 1u);
  EXPECT_TRUE(layout.value().has_user_data);
}

TEST(ManifestTemplate, TheOldElementForBinaryDataIsAPropertyThatCantBeMeasured) {
  const auto layout = Compile("<template tid='T'><data name='A' inType='win:UInt8'/><binary name='B'/></template>");
  ASSERT_TRUE(layout.ok()) << layout.error().message;
  EXPECT_EQ(layout.value().properties[1].in_type, InType::kBinary);
  EXPECT_EQ(layout.value().properties[1].length.told, Told::kNot);
}

TEST(ManifestTemplate, ALengthCanBeZeroAndHexadecimal) {
  const auto layout = Compile(
      "<template tid='T'><data name='A' inType='win:Binary' length='0'/>"
      "<data name='B' inType='win:Binary' length='0x10'/></template>");
  ASSERT_TRUE(layout.ok()) << layout.error().message;
  EXPECT_EQ(layout.value().properties[0].length.told, Told::kFixed);
  EXPECT_EQ(layout.value().properties[0].length.value, 0);
  EXPECT_EQ(layout.value().properties[1].length.value, 16);
}

TEST(ManifestTemplate, AStructureTellsNoLengthAndNoCount) {
  const auto layout = Compile(
      "<template tid='T'><struct name='S'><data name='A' inType='win:UInt8'/></struct>"
      "<data name='B' inType='win:UInt8' count='S'/></template>");
  ASSERT_FALSE(layout.ok());
  EXPECT_EQ(layout.error().message, "m:1: count \"S\" names no earlier <data>");
}

}  // namespace
}  // namespace varnel::formats
