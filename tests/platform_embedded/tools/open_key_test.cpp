#include "platform/embedded/tools/open_key.h"

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class OpenKeyTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
  }
};

TEST_F(OpenKeyTest, ValuesAreReadByTheirTypeOnly) {
  SetText(u"SOFTWARE\\A", u"text", u"42");
  SetNumber(u"SOFTWARE\\A", u"number", 42);
  SetLongNumber(u"SOFTWARE\\A", u"long", 42);
  Set(u"SOFTWARE\\A", u"short", platform::kRegDword, "x", 1);
  const OpenKey key = Key(u"SOFTWARE\\A");
  EXPECT_EQ(key.Text(u"text"), u"42");
  EXPECT_EQ(key.Number(u"number"), 42u);
  EXPECT_EQ(key.LongNumber(u"long"), 42u);
  EXPECT_FALSE(key.Number(u"text").has_value());
  EXPECT_FALSE(key.Number(u"long").has_value());
  EXPECT_FALSE(key.Number(u"short").has_value());
  EXPECT_FALSE(key.LongNumber(u"number").has_value());
  EXPECT_FALSE(key.Text(u"number").has_value());
  EXPECT_FALSE(key.Text(u"missing").has_value());
}

TEST_F(OpenKeyTest, ATextEndsAtItsFirstZeroAndNeedsNone) {
  Set(u"SOFTWARE\\A", u"none", platform::kRegSz, u"ab", 4);
  Set(u"SOFTWARE\\A", u"two", platform::kRegSz, u"ab\0cd", 12);
  Set(u"SOFTWARE\\A", u"empty", platform::kRegSz, u"", 0);
  const OpenKey key = Key(u"SOFTWARE\\A");
  EXPECT_EQ(key.Text(u"none"), u"ab");
  EXPECT_EQ(key.Text(u"two"), u"ab");
  EXPECT_EQ(key.Text(u"empty"), u"");
}

TEST_F(OpenKeyTest, AMissingKeyIsNotOpenAndHoldsNothing) {
  const OpenKey key = Key(u"SOFTWARE\\Missing");
  EXPECT_FALSE(key.is_open());
  EXPECT_EQ(key.result(), 2u);
  EXPECT_TRUE(key.SubKeys().empty());
  EXPECT_TRUE(key.Values().empty());
}

TEST_F(OpenKeyTest, TheKeyIsClosedByItsEndAlone) {
  const std::size_t before = Handles().size();
  {
    OpenKey key = Key(u"SOFTWARE");
    const OpenKey moved = std::move(key);
    EXPECT_TRUE(moved.is_open());
    EXPECT_EQ(Handles().size(), before + 1);
  }
  EXPECT_EQ(Handles().size(), before);
}

}  // namespace
}  // namespace varnel::embedded
