#include "platform/embedded/trace/properties_block.h"

#include <gtest/gtest.h>

#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::embedded::PropertiesBlock;
using varnel::testing::Block;
namespace vp = varnel::platform;

constexpr std::uint32_t kFixed = sizeof(vp::EVENT_TRACE_PROPERTIES);

TEST(PropertiesBlockTest, ABlockThatIsNullOrSmallerThanItsFixedPartIsRefused) {
  EXPECT_EQ(PropertiesBlock(nullptr).Check(), vp::kErrorInvalidParameter);
  Block block(kFixed);
  EXPECT_EQ(PropertiesBlock(block.get()).Check(), 0u);
  block->Wnode.BufferSize = kFixed - 1;
  EXPECT_EQ(PropertiesBlock(block.get()).Check(), vp::kErrorBadLength);
}

TEST(PropertiesBlockTest, TextsStandBehindTheFixedPartAndEndInsideTheBlock) {
  Block block(kFixed + 8);
  block.PutText(kFixed, u"abc");
  const PropertiesBlock view(block.get());
  EXPECT_EQ(view.Text(0), u"") << "no text";
  EXPECT_EQ(view.Text(kFixed), u"abc");
  EXPECT_EQ(view.Text(kFixed + 2), u"bc");
  EXPECT_EQ(view.Text(kFixed - 2), std::nullopt);
  EXPECT_EQ(view.Text(kFixed + 8), std::nullopt);
  EXPECT_EQ(view.Text(0xFFFFFFFF), std::nullopt);
  block->Wnode.BufferSize = kFixed + 6;
  EXPECT_EQ(view.Text(kFixed), std::nullopt) << "without its NUL";
  block->Wnode.BufferSize = kFixed + 7;
  EXPECT_EQ(view.Text(kFixed), std::nullopt) << "with half a NUL";
}

TEST(PropertiesBlockTest, ATextFitsWithItsNulOrNotAtAll) {
  Block block(kFixed + 8);
  PropertiesBlock view(block.get());
  EXPECT_TRUE(view.Fits(kFixed, u"abc"));
  EXPECT_FALSE(view.Fits(kFixed, u"abcd"));
  EXPECT_FALSE(view.Fits(kFixed + 8, u""));
  EXPECT_TRUE(view.Fits(kFixed + 6, u""));
  EXPECT_FALSE(view.Fits(8, u"a")) << "inside the fixed part";
  EXPECT_FALSE(view.Fits(0xFFFFFFFE, u""));
  view.Put(kFixed, u"xyz");
  EXPECT_EQ(block.Text(kFixed), u"xyz");
}

}  // namespace
