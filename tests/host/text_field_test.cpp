#include "host/text_field.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

TEST(TextField, GivesTheValueOfAKey) {
  EXPECT_EQ(TextField(R"({"a":"1","b":"two","c":"3"})", "b"), "two");
  EXPECT_EQ(TextField(R"({"a":""})", "a"), "");
}

TEST(TextField, GivesNothingForAMissingKeyOrAValueThatIsNoString) {
  EXPECT_EQ(TextField(R"({"a":"1"})", "b"), std::nullopt);
  EXPECT_EQ(TextField(R"({"a":null,"b":7})", "a"), std::nullopt);
  EXPECT_EQ(TextField(R"({"a":"cut)", "a"), std::nullopt);
  EXPECT_EQ(TextField("", "a"), std::nullopt);
}

TEST(TextField, TakesNoKeyFromWithinAValue) {
  EXPECT_EQ(TextField(R"({"x":"\"a\":\"no\"","a":"yes"})", "a"), "yes");
}

TEST(TextField, UndoesEscapes) {
  EXPECT_EQ(TextField(R"({"a":"\"\\\/\b\f\n\r\t"})", "a"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(TextField(R"({"a":"\u0041\u20ac\ud83d\ude00!"})", "a"), "A\xE2\x82\xAC\xF0\x9F\x98\x80!");
  EXPECT_EQ(TextField(R"({"a":"\ud83d!"})", "a"), "\xEF\xBF\xBD!");
}

TEST(TextField, RefusesEscapesThatAreNone) {
  EXPECT_EQ(TextField(R"({"a":"\x"})", "a"), std::nullopt);
  EXPECT_EQ(TextField(R"({"a":"\u12"})", "a"), std::nullopt);
  EXPECT_EQ(TextField(R"({"a":"\)", "a"), std::nullopt);
}

}  // namespace
}  // namespace varnel::host
