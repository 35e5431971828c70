#include "platform/debugger/engine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace varnel::platform {
namespace {

/// An identifier in its usual spelling.
std::string TextOf(const GUID& id) {
  const auto* const rest = id.Data4;
  char text[40] = {};
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", static_cast<unsigned>(id.Data1),
                unsigned{id.Data2}, unsigned{id.Data3}, unsigned{rest[0]}, unsigned{rest[1]}, unsigned{rest[2]},
                unsigned{rest[3]}, unsigned{rest[4]}, unsigned{rest[5]}, unsigned{rest[6]}, unsigned{rest[7]});
  return text;
}

// An engine that is not ours compares them too.
TEST(DebugIdentifiers, AreThoseThatAreAskedFor) {
  EXPECT_EQ(TextOf(kIidDebugClient), "27fe5639-8407-4f47-8364-ee118fb08ac8");
  EXPECT_EQ(TextOf(kIidDebugClient4), "ca83c3de-5089-4cf8-93c8-d892387f2a5e");
  EXPECT_EQ(TextOf(kIidDebugControl), "5182e668-105e-416e-ad92-24ef800424ba");
  EXPECT_EQ(TextOf(kIidDebugControl4), "94e60ce9-9b41-4b19-9fc0-6d9eb35272b3");
  EXPECT_EQ(TextOf(kIidDebugSymbols3), "f02fbecc-50ac-4f36-9ad9-c975e8f32ff8");
  EXPECT_EQ(TextOf(kIidDebugSystemObjects), "6b86fe2c-2c4f-4f0c-9da2-174311acc327");
  EXPECT_EQ(TextOf(kIidDebugDataSpaces), "88f7dfab-3ea7-4c3a-aefb-c4e8106173aa");
  EXPECT_EQ(TextOf(kIidDebugDataSpaces2), "d98ada1f-29e9-4ef5-a6c0-e53349883212");
  EXPECT_EQ(TextOf(kIidDebugRegisters), "ce289126-9e84-45a7-937e-67bb18691493");
  EXPECT_EQ(TextOf(kIidDebugAdvanced), "f2df5f53-071f-47bd-9de6-5734c3fed689");
}

}  // namespace
}  // namespace varnel::platform
