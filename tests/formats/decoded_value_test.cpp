#include "formats/decoded_value.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

using Kind = DecodedValue::Kind;

TEST(DecodedValue, EscapesWhatJsonDoesNotAllowInAString) {
  std::string out;
  AppendJsonString(std::string_view("a\"b\\c\n\r\t\x01\0z", 11), &out);
  EXPECT_EQ(out, "\"a\\\"b\\\\c\\n\\r\\t\\u0001\\u0000z\"");
}

TEST(DecodedValue, WritesEachKindAsItsJson) {
  const std::vector<DecodedProperty> members = {
      {"text", {Kind::kText, "t", {}}},
      {"number", {Kind::kNumber, "-1.5", {}}},
      {"truth", {Kind::kBoolean, "true", {}}},
      {"nothing", {}},
      {"list", {Kind::kArray, "", {{"", {Kind::kNumber, "1", {}}}, {"", {Kind::kNumber, "2", {}}}}}},
      {"record", {Kind::kStructure, "", {{"inner", {Kind::kText, "", {}}}}}},
  };
  std::string out;
  AppendJsonObject(members, &out);
  EXPECT_EQ(out, R"({"text":"t","number":-1.5,"truth":true,"nothing":null,"list":[1,2],"record":{"inner":""}})");
}

TEST(DecodedValue, EmptyListsAndRecordsStayWhatTheyAre) {
  std::string out;
  AppendJson({Kind::kArray, "", {}}, &out);
  AppendJson({Kind::kStructure, "", {}}, &out);
  EXPECT_EQ(out, "[]{}");
}

}  // namespace
}  // namespace varnel::formats
