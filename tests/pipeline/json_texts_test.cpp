#include "pipeline/json_texts.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/cjson_faults.h"

namespace varnel {
namespace {

class JsonTextsTest : public ::testing::Test {
 protected:
  ~JsonTextsTest() override { EXPECT_EQ(testing::CJsonBlocks(), blocks_); }

  static std::string Printed(const JsonTexts& json) {
    char* text = json.Print();
    if (text == nullptr) return "(no text)";
    std::string printed = text;
    cJSON_free(text);
    return printed;
  }

  long blocks_ = testing::CJsonBlocks();
};

TEST_F(JsonTextsTest, KeysStandInTheOrderOfTheirAdding) {
  JsonTexts json;
  json.AddConstant("a", "1");
  json.AddUnderConstantKey("b", "2");
  json.Add("c", "3");
  json.AddConstantText("d", "4");
  EXPECT_EQ(Printed(json), R"({"a":"1","b":"2","c":"3","d":"4"})");
}

TEST_F(JsonTextsTest, TextsMayGoOnceTheyWereAdded) {
  JsonTexts json;
  {
    std::string key = "key";
    std::string text = "text";
    json.Add(key, text);
    json.AddUnderConstantKey("b", text);
    json.AddConstantText(key, "constant");
    key.assign(key.size(), '?');
    text.assign(text.size(), '?');
  }
  EXPECT_EQ(Printed(json), R"({"key":"text","b":"text","key":"constant"})");
}

TEST_F(JsonTextsTest, LongTextsAndManyTextsAreWholeToo) {
  JsonTexts json;
  std::string expected = "{";
  for (int i = 0; i < 100; ++i) {
    const std::string key = "key" + std::to_string(i);
    const std::string text(static_cast<std::size_t>(i) * 7, static_cast<char>('a' + i % 26));
    json.Add(key, text);
    json.AddConstantText(key, "c");
    json.AddUnderConstantKey("u", text);
    expected += (i == 0 ? "\"" : ",\"") + key + "\":\"" + text + "\",\"" + key + "\":\"c\",\"u\":\"" + text + "\"";
  }
  EXPECT_EQ(Printed(json), expected + "}");
}

TEST_F(JsonTextsTest, WithoutMemoryAKeyIsLeftOutOrNothingIsPrinted) {
  {
    const testing::CJsonAllocationFaults failing(1);
    EXPECT_FALSE(JsonTexts().ok());
  }
  JsonTexts json;
  {
    const testing::CJsonAllocationFaults failing(1);
    json.Add("lost", std::string(5000, 'x'));
  }
  json.Add("kept", "text");
  {
    const testing::CJsonAllocationFaults failing(1);
    EXPECT_EQ(Printed(json), "(no text)");
  }
  EXPECT_EQ(Printed(json), R"({"kept":"text"})");
}

TEST_F(JsonTextsTest, WithoutMemoryTheKeysBehindTheFirstDozensAreLeftOut) {
  JsonTexts json;
  std::string expected = "{";
  for (int i = 0; i < 24; ++i) {
    json.AddConstant("k", "v");
    expected += R"("k":"v",)";
  }
  {
    const testing::CJsonAllocationFaults failing(1);
    json.AddConstant("lost", "v");
  }
  json.AddConstant("kept", "v");
  EXPECT_EQ(Printed(json), expected + R"("kept":"v"})");
}

TEST_F(JsonTextsTest, AnEmptyObjectHasNoKeys) {
  EXPECT_EQ(Printed(JsonTexts()), "{}");
}

}  // namespace
}  // namespace varnel
