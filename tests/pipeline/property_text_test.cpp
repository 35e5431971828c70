#include "pipeline/property_text.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "pipeline/json_texts.h"
#include "tests/support/cjson_faults.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

class PropertyTextTest : public ::testing::Test {
 protected:
  ~PropertyTextTest() override {
    EXPECT_EQ(platform_.system.heap_blocks(), 0);
    EXPECT_EQ(testing::CJsonBlocks(), json_blocks_);
  }

  /// What the object prints for a property of that name with these bytes.
  std::string Printed(std::uint16_t in_type, const std::string& bytes, const char* name = "name") {
    std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
    data.resize(bytes.size() + kPropertyTail);
    JsonTexts json;
    AddPropertyText(&json, {name, in_type, data.data(), static_cast<std::uint32_t>(bytes.size())});
    char* text = json.Print();
    std::string printed = text == nullptr ? "" : text;
    cJSON_free(text);
    return printed;
  }
  template <typename T>
  std::string PrintedNumber(std::uint16_t in_type, T value) {
    return Printed(in_type, std::string(reinterpret_cast<const char*>(&value), sizeof value));
  }

  testing::ScriptedPlatform platform_;
  long json_blocks_ = testing::CJsonBlocks();
};

struct NumberRow {
  std::uint16_t in_type;
  std::uint64_t value;
  std::size_t size;
  const char* text;
};

TEST_F(PropertyTextTest, NumbersPrintByTheirType) {
  const NumberRow rows[] = {
      {kInTypeInt16, 0xFFFE, 2, "65534"},
      {kInTypeUint16, 0xFFFF, 2, "65535"},
      {kInTypeInt32, 0xFFFFFFFF, 4, "0xFFFFFFFF"},
      {kInTypeUint32, 0, 4, "0x0"},
      {kInTypeInt64, 0xFFFFFFFFFFFFFFFF, 8, "0xFFFFFFFFFFFFFFFF"},
      {kInTypeUint64, 0x1DC5AE2F1B3C4D0, 8, "0x1DC5AE2F1B3C4D0"},
      {kInTypeBoolean, 0, 4, "FALSE"},
      {kInTypeBoolean, 0x100, 4, "TRUE"},
  };
  for (const NumberRow& row : rows) {
    const std::string bytes(reinterpret_cast<const char*>(&row.value), row.size);
    EXPECT_EQ(Printed(row.in_type, bytes), std::string(R"({"name":")") + row.text + "\"}") << row.in_type;
  }
  EXPECT_EQ(PrintedNumber(kInTypeFloat, 1.5f), R"({"name":"1.500000"})");
  EXPECT_EQ(PrintedNumber(kInTypeDouble, -0.25), R"({"name":"-0.250000"})");
}

TEST_F(PropertyTextTest, ANumberThatIsShorterThanItsTypeIsReadWithZerosBehindIt) {
  EXPECT_EQ(Printed(kInTypeUint64, "\x05"), R"({"name":"0x5"})");
  EXPECT_EQ(Printed(kInTypeGuid, std::string("\x01", 1)), R"({"name":"{00000001-0000-0000-0000-000000000000}"})");
}

TEST_F(PropertyTextTest, ACodeLineIsDecimalWhateverItsCase) {
  EXPECT_EQ(Printed(kInTypeUint32, std::string("\x0A\0\0\0", 4), "cOdElInE"), R"({"cOdElInE":"10"})");
  EXPECT_EQ(Printed(kInTypeInt32, std::string("\xFF\xFF\xFF\xFF", 4), "CodeLine"), R"({"CodeLine":"4294967295"})");
  EXPECT_EQ(Printed(kInTypeUint32, std::string("\x0A\0\0\0", 4), "CodeLines"), R"({"CodeLines":"0xA"})");
}

TEST_F(PropertyTextTest, TextsEndAtTheirNulOrWithTheProperty) {
  EXPECT_EQ(Printed(kInTypeNarrowString, std::string("ab\0cd", 5)), R"({"name":"ab"})");
  EXPECT_EQ(Printed(kInTypeNarrowString, "ab"), R"({"name":"ab"})");
  EXPECT_EQ(Printed(kInTypeWideString, std::string("a\0\xAC\x20", 4)), "{\"name\":\"a\xE2\x82\xAC\"}");
  EXPECT_EQ(Printed(kInTypeWideString, std::string("\0\0", 2)), R"({"name":""})");
}

TEST_F(PropertyTextTest, ByteListsStopAfter256BytesButForSingleBytes) {
  const std::string bytes(300, '\x7F');
  const auto expected = [](int count) {
    std::string list;
    for (int i = 0; i < count; ++i) list += i == 0 ? "0x7F" : ", 0x7F";
    return R"({"name":")" + list + "\"}";
  };
  EXPECT_EQ(Printed(kInTypeUint8, bytes), expected(300));
  for (const std::uint16_t type : {std::uint16_t{3}, std::uint16_t{14}, std::uint16_t{19}, std::uint16_t{300}}) {
    EXPECT_EQ(Printed(type, bytes), expected(256)) << type;
  }
  EXPECT_EQ(Printed(14, bytes.substr(0, 256)), expected(256));
}

}  // namespace
}  // namespace varnel
