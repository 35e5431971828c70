#include "analyzer/bsod_install_config.h"

#include "analyzer/bsod_analyzer_object.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class BsodInstallConfig : public AnalyzerTest {};

TEST_F(BsodInstallConfig, IsSwitchedOff) {
  EXPECT_FALSE(BsodInstallConfigEnabled);
}

TEST_F(BsodInstallConfig, SwitchedOffAnswers0ForAnEmptyProductToo) {
  EXPECT_EQ(SetBsodInstallConfig(u""), 0);
  EXPECT_EQ(SetBsodInstallConfig(kProduct.c_str()), 0);
  EXPECT_TRUE(plan.Calls().empty()) << "nothing is asked of the machine";
}

TEST_F(BsodInstallConfig, SwitchedOffAnswers0InAProcessThatIsNotElevatedAndLeavesTheSettings) {
  machine.system.elevated = false;
  SetControl(u"CrashDumpEnabled", 0);
  const std::size_t values = machine.registry.Values(kCrashControl).size();
  EXPECT_EQ(SetBsodInstallConfig(kProduct.c_str()), 0);
  EXPECT_EQ(machine.registry.GetDword(kCrashControl, u"CrashDumpEnabled"), 0u);
  EXPECT_EQ(machine.registry.Values(kCrashControl).size(), values);
  EXPECT_FALSE(machine.registry.HasKey(kProductKey));
}

TEST_F(BsodInstallConfig, SwitchedOffTheStartsSetupDoesNothingEither) {
  const BsodAnalyzer analyzer(kProduct);
  AnalysisState state(kProduct);
  plan.Clear();
  state.installConfigFound = 7;
  EXPECT_EQ(analyzer.ConfigureBsodDump(&state), 0);
  EXPECT_EQ(state.installConfigFound, 7);
  EXPECT_TRUE(plan.Calls().empty());
}

}  // namespace
}  // namespace varnel
