#include "formats/winmeta.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(Winmeta, KnowsTheNamesThatNoManifestDefines) {
  EXPECT_EQ(PredefinedLevel("win:Informational")->value, 4u);
  EXPECT_EQ(PredefinedLevel("win:Informational")->display, "Information");
  EXPECT_EQ(PredefinedLevel("win:Always")->value, 0u);
  EXPECT_EQ(PredefinedLevel("LogAlways")->value, 0u);
  EXPECT_EQ(PredefinedOpcode("win:Receive")->value, 240u);
  EXPECT_EQ(PredefinedKeyword("win:SQM")->value, 0x0008000000000000u);
  EXPECT_EQ(PredefinedChannel("Application")->value, 9u);
  EXPECT_EQ(PredefinedLevel("win:Nonsense"), nullptr);
  EXPECT_EQ(PredefinedOpcode(""), nullptr);
}

TEST(Winmeta, FindsThemByValueToo) {
  EXPECT_EQ(PredefinedLevel(std::uint64_t{1})->name, "Critical");
  EXPECT_EQ(PredefinedLevel(std::uint64_t{6}), nullptr);
  EXPECT_EQ(PredefinedOpcode(std::uint64_t{2})->display, "Stop");
  EXPECT_EQ(PredefinedKeyword(std::uint64_t{1} << 48)->name, "ResponseTime");
}

}  // namespace
}  // namespace varnel::formats
