#include "analyzer/text_conversion.h"

#include <gtest/gtest.h>

#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

class Conversion : public ::testing::Test {
 protected:
  testing::ScriptedPlatform platform_;
  testing::FaultPlan plan_;
  testing::FaultyPlatform faulty_{platform_.ports, &plan_};
};

TEST_F(Conversion, GivesUtf8) {
  EXPECT_EQ(WideToUtf8(u"C:\\\u00E4\u20AC.dmp"), "C:\\\xC3\xA4\xE2\x82\xAC.dmp");
}

TEST_F(Conversion, GivesAnEmptyTextForAnEmptyOneAndAsksNobody) {
  EXPECT_EQ(WideToUtf8(u""), "");
  EXPECT_TRUE(plan_.Calls().empty());
}

TEST_F(Conversion, GivesAnEmptyTextWhenSizeOrTextFail) {
  plan_.Fail({"WideCharToMultiByte", 1, false, 87});
  EXPECT_EQ(WideToUtf8(u"a"), "");
  plan_.Fail({"WideCharToMultiByte", 2, false, 87});
  EXPECT_EQ(WideToUtf8(u"a"), "");
  EXPECT_EQ(WideToUtf8(u"a"), "a");
}

TEST_F(Conversion, GivesWideTextFromANarrowOne) {
  EXPECT_EQ(WideFromNarrow(65001, "nt\xC3\xA4"), u"nt\u00E4");
  EXPECT_EQ(WideFromNarrow(0, "System"), u"System");
  EXPECT_EQ(WideFromNarrow(65001, ""), u"");
}

TEST_F(Conversion, GivesAnEmptyWideTextWhenSizeOrTextFail) {
  plan_.Fail({"MultiByteToWideChar", 1, false, 87});
  EXPECT_EQ(WideFromNarrow(65001, "a"), u"");
  plan_.Fail({"MultiByteToWideChar", 2, false, 87});
  EXPECT_EQ(WideFromNarrow(65001, "a"), u"");
}

}  // namespace
}  // namespace varnel
