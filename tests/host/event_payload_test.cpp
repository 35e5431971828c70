#include "host/event_payload.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

std::string Hex(const std::vector<std::byte>& bytes) {
  std::string text;
  for (const std::byte byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte));
    text += digits;
  }
  return text;
}

const PayloadFields kFields{.counter = 0x01020304, .flags = 8, .function = "f", .code_line = 7, .status = 0xAB};
constexpr char kCommon[] =
    "04030201"   // counter
    "08000000"   // flags
    "6600"       // function
    "07000000"   // line
    "ab000000";  // status

TEST(EventPayload, ANarrowTextEndsWithItsNul) {
  EXPECT_EQ(Hex(MakePayload(EmitTemplate::kAnsi, kFields, "hi")), std::string(kCommon) + "686900");
}

TEST(EventPayload, AWideTextIsUtf16) {
  EXPECT_EQ(Hex(MakePayload(EmitTemplate::kWide, kFields, "\xE2\x82\xAC")), std::string(kCommon) + "ac200000");
}

TEST(EventPayload, BytesStandBehindTheirNumber) {
  EXPECT_EQ(Hex(MakePayload(EmitTemplate::kBinary, kFields, "abc")), std::string(kCommon) + "03000000616263");
}

TEST(EventPayload, EachTemplateHasItsEvent) {
  EXPECT_EQ(EventId(EmitTemplate::kAnsi), 1);
  EXPECT_EQ(EventId(EmitTemplate::kWide), 2);
  EXPECT_EQ(EventId(EmitTemplate::kBinary), 3);
}

}  // namespace
}  // namespace varnel::host
