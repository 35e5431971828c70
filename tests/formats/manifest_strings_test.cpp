#include "formats/manifest_strings.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

constexpr const char* kText = R"x(<m><localization><resources culture="en-US"><stringTable>
  <string id="a.b" value=" One%n%1 "/><string id="twice" value="first"/><string id="twice" value="second"/>
  <string id="none"/></stringTable></resources></localization></m>)x";

class ManifestStringsTest : public ::testing::Test {
 protected:
  ManifestStringsTest() { document_.Parse(kText); }

  tinyxml2::XMLDocument document_;
  std::uint32_t unresolved_ = 0;
};

TEST_F(ManifestStringsTest, TextsKeepTheirBlanksAndInserts) {
  const ManifestStrings strings(*document_.RootElement());
  EXPECT_EQ(strings.Resolve("$(string.a.b)", &unresolved_), " One%n%1 ");
  EXPECT_EQ(strings.Resolve("$(string.none)", &unresolved_), "");
  EXPECT_EQ(unresolved_, 0u);
}

TEST_F(ManifestStringsTest, OfEqualIdsTheFirstCountsAndAllAreCounted) {
  const ManifestStrings strings(*document_.RootElement());
  EXPECT_EQ(strings.Resolve("$(string.twice)", &unresolved_), "first");
  EXPECT_EQ(strings.size(), 4u);
}

TEST_F(ManifestStringsTest, OnlyAReferenceThatMissesIsCounted) {
  const ManifestStrings strings(*document_.RootElement());
  EXPECT_EQ(strings.Resolve("plain text", &unresolved_), "plain text");
  EXPECT_EQ(strings.Resolve("", &unresolved_), "");
  EXPECT_EQ(strings.Resolve("$(mc.SYMBOL)", &unresolved_), "");
  EXPECT_EQ(unresolved_, 0u);
  EXPECT_EQ(strings.Resolve("$(string.missing)", &unresolved_), "");
  EXPECT_EQ(unresolved_, 1u);
}

TEST_F(ManifestStringsTest, AManifestWithoutTablesHasNone) {
  tinyxml2::XMLDocument document;
  document.Parse("<m><localization/></m>");
  const ManifestStrings strings(*document.RootElement());
  EXPECT_EQ(strings.culture(), "");
  EXPECT_EQ(strings.size(), 0u);
}

}  // namespace
}  // namespace varnel::formats
