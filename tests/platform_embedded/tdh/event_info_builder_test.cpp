#include "platform/embedded/tdh/event_info_builder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace varnel::embedded {
namespace {

std::u16string TextAt(const std::vector<std::byte>& bytes, std::size_t offset) {
  std::u16string text;
  for (char16_t c = 0; offset + 2 <= bytes.size(); offset += 2) {
    std::memcpy(&c, bytes.data() + offset, 2);
    if (c == 0) return text;
    text.push_back(c);
  }
  ADD_FAILURE() << "the text does not end";
  return text;
}

TEST(EventInfoBuilder, WithoutPropertiesItIsTheFixedPartAndTheTexts) {
  EventInfoBuilder builder((formats::EventLayout()));
  builder.info().ProviderNameOffset = builder.AddText("N\xC3\xA9");
  const auto bytes = builder.Build();
  EXPECT_EQ(bytes.size(), 112u + 3 * 2);
  EXPECT_EQ(TextAt(bytes, 112), u"N\u00E9");
  std::uint32_t offset = 0;
  std::memcpy(&offset, bytes.data() + 52, 4);
  EXPECT_EQ(offset, 112u);
}

TEST(EventInfoBuilder, PropertiesOf24BytesStandBetweenTheFixedPartAndTheTexts) {
  formats::EventLayout layout;
  layout.properties.resize(2);
  layout.properties[0].name = "ab";
  layout.properties[1].name = "c";
  layout.properties[1].in_type = formats::InType::kUInt16;
  layout.top_level_count = 2;
  FinishLayout(&layout);
  const auto bytes = EventInfoBuilder(layout).Build();
  EXPECT_EQ(bytes.size(), 112u + 2 * 24 + 5 * 2);
  std::uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 100, 4);
  EXPECT_EQ(count, 2u);
  std::uint32_t name = 0;
  std::memcpy(&name, bytes.data() + 112 + 24 + 4, 4);
  EXPECT_EQ(TextAt(bytes, name), u"c");
  std::uint16_t type = 0;
  std::memcpy(&type, bytes.data() + 112 + 24 + 8, 2);
  EXPECT_EQ(type, 6);
  std::uint16_t length = 0;
  std::memcpy(&length, bytes.data() + 112 + 24 + 18, 2);
  EXPECT_EQ(length, 2);
}

TEST(EventInfoBuilder, AnEmptyTextAndAnEmptyListHaveNoOffset) {
  EventInfoBuilder builder((formats::EventLayout()));
  EXPECT_EQ(builder.AddText(""), 0u);
  EXPECT_EQ(builder.AddTextList({}), 0u);
  EXPECT_EQ(builder.Build().size(), 112u);
}

TEST(EventInfoBuilder, AListEndsWithAnEmptyText) {
  EventInfoBuilder builder((formats::EventLayout()));
  const std::vector<std::string> names = {"a", "b"};
  EXPECT_EQ(builder.AddTextList(names), 112u);
  const auto bytes = builder.Build();
  EXPECT_EQ(bytes.size(), 112u + 5 * 2);
  EXPECT_EQ(TextAt(bytes, 116), u"b");
  EXPECT_EQ(TextAt(bytes, 120), u"");
}

}  // namespace
}  // namespace varnel::embedded
