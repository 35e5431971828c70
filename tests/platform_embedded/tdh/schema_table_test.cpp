#include "platform/embedded/tdh/schema_table.h"

#include <gtest/gtest.h>

#include "formats/manifest_reader.h"
#include "manifest_text.h"
#include "tracelogging_builder.h"

namespace varnel::embedded {
namespace {

using testing::ManifestOf;
using testing::TraceLoggingBuilder;

const GUID kTest = *formats::ParseGuid("{11111111-2222-3333-4444-555555555555}");

formats::InstrumentationManifest Manifest(const std::string& text) {
  auto manifest = formats::ReadManifest(testing::ToBytes(text), "m.xml");
  EXPECT_TRUE(manifest.ok()) << (manifest.ok() ? "" : manifest.error().message);
  return std::move(manifest).value();
}

TEST(SchemaTable, AnOlderTableStaysAsItIsWhenANewOneIsMadeOfIt) {
  const auto first = SchemaTable().With(Manifest(ManifestOf(R"(<events><event value="1"/></events>)")));
  const auto second = first->With(Manifest(ManifestOf(R"(<events><event value="2"/></events>)")));
  EXPECT_NE(first->Find(kTest, 1, 0), nullptr);
  EXPECT_EQ(first->Find(kTest, 2, 0), nullptr);
  EXPECT_EQ(second->Find(kTest, 1, 0), nullptr);
  EXPECT_NE(second->Find(kTest, 2, 0), nullptr);
  EXPECT_EQ(second->Find(kTest, 2, 1), nullptr);
  EXPECT_EQ(second->Find(GUID{}, 2, 0), nullptr);
}

TEST(SchemaTable, ProvidersThatStayAreSharedAndNotMadeAgain) {
  const auto first = SchemaTable().With(Manifest(testing::WardletManifest()));
  const auto second = first->With(Manifest(ManifestOf("")));
  const GUID sample = *formats::ParseGuid("{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
  EXPECT_EQ(first->Find(sample, 1, 0), second->Find(sample, 1, 0));
}

TEST(SchemaTable, AGuidThatAFileDefinesTwiceHasTheEventsOfBoth) {
  const std::string provider =
      "<provider name=\"P\" guid=\"{11111111-2222-3333-4444-555555555555}\"><templates><template tid=\"T\">";
  const auto table = SchemaTable().With(Manifest(
      "<instrumentationManifest><instrumentation><events>" + provider +
      "<data name=\"First\" inType=\"win:UInt8\"/></template></templates><events><event value=\"1\" template=\"T\"/>"
      "</events></provider>" +
      provider +
      "<data name=\"Second\" inType=\"win:UInt8\"/></template></templates><events><event value=\"1\" template=\"T\"/>"
      "<event value=\"2\" template=\"T\"/></events></provider></events></instrumentation></instrumentationManifest>"));
  EXPECT_EQ(table->Find(kTest, 1, 0)->layout().properties[0].name, "First");
  EXPECT_EQ(table->Find(kTest, 2, 0)->layout().properties[0].name, "Second");
}

std::string Item(const TraceLoggingBuilder& builder) {
  const auto bytes = builder.Build();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST(TraceLoggingSchemas, ADescriptionIsCompiledOnce) {
  TraceLoggingSchemas schemas;
  const std::string item = Item(TraceLoggingBuilder("E").Field("a", 8));
  const auto first = schemas.Get({kTest, 4, 0, item, {}});
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(schemas.Get({kTest, 4, 0, std::string(item), {}}), first);
}

TEST(TraceLoggingSchemas, WhatGoesIntoTheInformationTellsSchemasApart) {
  TraceLoggingSchemas schemas;
  const std::string item = Item(TraceLoggingBuilder("E"));
  const auto first = schemas.Get({kTest, 4, 0, item, {}});
  EXPECT_NE(schemas.Get({GUID{}, 4, 0, item, {}}), first);
  EXPECT_NE(schemas.Get({kTest, 5, 0, item, {}}), first);
  EXPECT_NE(schemas.Get({kTest, 4, 1, item, {}}), first);
  EXPECT_NE(schemas.Get({kTest, 4, 0, item, std::string_view("\x05\0ab\0", 5)}), first);
}

TEST(TraceLoggingSchemas, ADescriptionThatCantBeReadStaysUnknown) {
  TraceLoggingSchemas schemas;
  EXPECT_EQ(schemas.Get({kTest, 4, 0, std::string_view("\x03\0\0", 3), {}}), nullptr);
  EXPECT_EQ(schemas.Get({kTest, 4, 0, std::string_view("\x03\0\0", 3), {}}), nullptr);
}

TEST(TraceLoggingSchemas, DescriptionsWithoutEndAreForgottenAndStayUsableByTheirHolders) {
  TraceLoggingSchemas schemas;
  const auto held = schemas.Get({kTest, 4, 0, Item(TraceLoggingBuilder("first")), {}});
  const std::string tail(1000, 'x');
  for (int i = 0; i < 600; ++i) {
    ASSERT_NE(schemas.Get({kTest, 4, 0, Item(TraceLoggingBuilder(std::to_string(i) + tail)), {}}), nullptr);
  }
  EXPECT_EQ(held->layout().name, "first");
  EXPECT_NE(schemas.Get({kTest, 4, 0, Item(TraceLoggingBuilder("first")), {}}), held);
}

}  // namespace
}  // namespace varnel::embedded
