#include "pipeline/module_name.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace varnel {
namespace {

std::string NameOf(std::uint64_t keyword) {
  char text[100] = "before";
  GetModuleNameByKeyWord(keyword, text, sizeof(text));
  return text;
}

TEST(ModuleName, AKeywordWithoutModuleBitsIsNone) {
  EXPECT_EQ(NameOf(0), "None");
  EXPECT_EQ(NameOf(7), "None");
}

TEST(ModuleName, TheFirstFourModuleBitsHaveNamesOfTheirOwn) {
  EXPECT_EQ(NameOf(0x8), "ModuleVNMgr");
  EXPECT_EQ(NameOf(0x10), "ModuleReserve1");
  EXPECT_EQ(NameOf(0x20), "ModuleReserve2");
  EXPECT_EQ(NameOf(0x40), "ModuleReserve3");
}

TEST(ModuleName, Bits7To33AreNumberedFrom01To27) {
  for (int n = 1; n <= 27; ++n) {
    char expected[16];
    std::snprintf(expected, sizeof(expected), "Module%02d", n);
    EXPECT_EQ(NameOf(1ull << (n + 6)), expected) << "bit " << n + 6;
  }
}

TEST(ModuleName, TheLowerOfTwoModuleBitsNamesTheKeyword) {
  EXPECT_EQ(NameOf(0x88), "ModuleVNMgr");
  EXPECT_EQ(NameOf(0x8000000000000187), "Module01");
}

TEST(ModuleName, BitsAbove33AreUnknownAndShownWithoutTheLowThree) {
  EXPECT_EQ(NameOf(0x400000000), "Unknown_0x400000000");
  EXPECT_EQ(NameOf(0x8000000400000007), "Unknown_0x8000000400000000");
}

TEST(ModuleName, ANullBufferOrNoRoomDoesNothing) {
  char text[4] = "abc";
  GetModuleNameByKeyWord(8, nullptr, 100);
  GetModuleNameByKeyWord(8, text, 0);
  EXPECT_STREQ(text, "abc");
}

TEST(ModuleName, ANameThatDoesNotFitIsCut) {
  char text[7] = {};
  GetModuleNameByKeyWord(0x8, text, sizeof(text));
  EXPECT_STREQ(text, "Module");
}

}  // namespace
}  // namespace varnel
