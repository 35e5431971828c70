#include "platform/embedded/tdh/event_schema.h"

#include <gtest/gtest.h>

#include <cstring>

#include "layouts.h"

namespace varnel::embedded {
namespace {

using testing::Data;

EventSchema SchemaOf(const std::string& template_body) {
  // A copy of the layout, so that the schema owns it.
  formats::EventLayout layout = *testing::TestLayout(template_body);
  return EventSchema(std::move(layout), GUID{}, "Provider", 4, 0);
}

TEST(EventSchema, FindsNamesWhereverTheHintPoints) {
  const EventSchema schema = SchemaOf(Data("Counter", "UInt32") + Data("Count", "UInt8") + Data("Flags", "UInt32"));
  for (const std::size_t hint : {0u, 1u, 2u, 3u, 1000u}) {
    EXPECT_EQ(schema.FindTopLevel(u"Counter", hint), 0) << hint;
    EXPECT_EQ(schema.FindTopLevel(u"Count", hint), 1) << hint;
    EXPECT_EQ(schema.FindTopLevel(u"Flags", hint), 2) << hint;
    EXPECT_EQ(schema.FindTopLevel(u"flags", hint), -1) << hint;
    EXPECT_EQ(schema.FindTopLevel(u"", hint), -1) << hint;
  }
}

TEST(EventSchema, OfEqualNamesTheFirstCountsForEveryHint) {
  const EventSchema schema = SchemaOf(Data("A", "UInt8") + Data("B", "UInt8") + Data("A", "UInt8"));
  for (const std::size_t hint : {0u, 1u, 2u}) EXPECT_EQ(schema.FindTopLevel(u"A", hint), 0) << hint;
}

TEST(EventSchema, MembersAreFoundInTheirStructureAlone) {
  const EventSchema schema = SchemaOf("<struct name=\"S\">" + Data("X", "UInt8") + "</struct><struct name=\"T\">" +
                                      Data("X", "UInt8") + Data("Y", "UInt8") + "</struct>");
  const auto& properties = schema.layout().properties;
  EXPECT_EQ(schema.FindMember(properties[0], u"X"), 2);
  EXPECT_EQ(schema.FindMember(properties[0], u"Y"), -1);
  EXPECT_EQ(schema.FindMember(properties[1], u"X"), 3);
  EXPECT_EQ(schema.FindMember(properties[1], u"Y"), 4);
  EXPECT_EQ(schema.FindTopLevel(u"X", 0), -1);
}

TEST(EventSchema, TheInformationOfALayoutWithATemplateSaysSo) {
  const EventSchema schema = SchemaOf(Data("A", "UInt8"));
  std::uint32_t flags = 0;
  std::memcpy(&flags, schema.info().data() + 108, 4);
  EXPECT_EQ(flags, 1u);
  std::uint32_t source = 0;
  std::memcpy(&source, schema.info().data() + 48, 4);
  EXPECT_EQ(source, 3u);
}

TEST(EventSchema, TellsWhichBytesDecideWherePropertiesStand) {
  const testing::TestLayout layout(Data("Plain", "UInt32") + Data("N", "UInt8") + Data("Text", "AnsiString") +
                                   Data("Fixed", "AnsiString", "length=\"4\"") + Data("B", "Binary", "length=\"N\"") +
                                   Data("Sid", "SID") + Data("C", "CountedBinary") + Data("P", "Pointer") +
                                   "<struct name=\"S\">" + Data("X", "UInt8") + "</struct>");
  const bool expected[] = {false, true, true, false, false, true, true, false, true};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(ShapesPayload(layout->properties[i]), expected[i]) << layout->properties[i].name;
  }
}

}  // namespace
}  // namespace varnel::embedded
