#include "platform/embedded/registry/value_bindings.h"

#include <gtest/gtest.h>

namespace varnel::embedded {
namespace {

TEST(ValueBindingsTest, ABindingIsFoundUnderJustItsNameTypeAndSize) {
  ValueBindings bindings;
  EXPECT_EQ(bindings.Find(u"v", 3, 24).number, 0u);
  bindings.Keep(u"v", 3, 24, {5, 77});
  EXPECT_EQ(bindings.Find(u"v", 3, 24).number, 77u);
  EXPECT_EQ(bindings.Find(u"v", 3, 24).cell, 5u);
  EXPECT_EQ(bindings.Find(u"V", 3, 24).number, 0u);
  EXPECT_EQ(bindings.Find(u"v", 4, 24).number, 0u);
  EXPECT_EQ(bindings.Find(u"v", 3, 23).number, 0u);
  EXPECT_EQ(bindings.Find(u"", 3, 24).number, 0u);
}

TEST(ValueBindingsTest, ANameThatIsKeptAgainHasItsLaterShapeOnly) {
  ValueBindings bindings;
  bindings.Keep(u"v", 3, 24, {5, 77});
  bindings.Keep(u"v", 3, 8, {6, 78});
  EXPECT_EQ(bindings.Find(u"v", 3, 24).number, 0u);
  EXPECT_EQ(bindings.Find(u"v", 3, 8).number, 78u);
}

TEST(ValueBindingsTest, TheFifthNameTakesThePlaceOfTheFirst) {
  ValueBindings bindings;
  const char16_t* const names[] = {u"a", u"b", u"c", u"d", u"e"};
  for (std::uint64_t i = 0; i < 5; ++i) bindings.Keep(names[i], 3, 24, {0, i + 1});
  EXPECT_EQ(bindings.Find(u"a", 3, 24).number, 0u);
  for (std::uint64_t i = 1; i < 5; ++i) EXPECT_EQ(bindings.Find(names[i], 3, 24).number, i + 1);
}

TEST(ValueBindingsTest, ANameThatIsTooLongIsNotKept) {
  ValueBindings bindings;
  bindings.Keep(std::u16string(64, u'n'), 3, 24, {0, 1});
  bindings.Keep(std::u16string(65, u'n'), 3, 24, {0, 2});
  EXPECT_EQ(bindings.Find(std::u16string(64, u'n'), 3, 24).number, 1u);
  EXPECT_EQ(bindings.Find(std::u16string(65, u'n'), 3, 24).number, 0u);
}

}  // namespace
}  // namespace varnel::embedded
