// Installation on a module whose crash-dump setup were switched on and failed: this program brings its own setup, which
// the linker takes in place of the module's.
#include <gtest/gtest.h>

#include <string>

#include "analyzer/bsod_install_config.h"
#include "base/log.h"
#include "tests/tool/tool_fixture.h"
#include "tool/install.h"

namespace varnel {
namespace {

std::u16string g_product;

}  // namespace

std::int32_t SetBsodInstallConfig(const char16_t* productGuid) noexcept {
  g_product.assign(productGuid);
  return static_cast<std::int32_t>(0x80070005);
}

namespace {

class InstallSetupFailureTest : public testing::ToolTest {};

TEST_F(InstallSetupFailureTest, AnswersZeroWithItsLineAndWithoutAFlush) {
  WrapLogInit(LOG_INFO, nullptr);  // it is no error
  EXPECT_EQ(InstallVarnel(testing::kSetupFolder), 0u);
  EXPECT_EQ(g_product, u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_TRUE(Logged("InstallVarnel func call SetBsodInstallConfig hRes(0x80070005) not S_OK.\r\n"));
  EXPECT_TRUE(Logged("InstallVarnel func return(0x0).\r\n"));
  EXPECT_EQ(faults_.CountOf("RegFlushKey"), 0u);
}

TEST_F(InstallSetupFailureTest, LeavesWhatTheEarlierStepsDid) {
  InstallVarnel(testing::kSetupFolder);
  EXPECT_TRUE(platform_.registry.HasKey(testing::kAutologgerKey));
  EXPECT_TRUE(platform_.trace.FindSession(testing::kSessionName).has_value());
  EXPECT_TRUE(platform_.files.Exists(std::u16string(testing::kModuleFolder) + u"\\symsrv.dll"));
  EXPECT_TRUE(platform_.files.Exists(std::u16string(testing::kModuleFolder) + u"\\symsrv.yes"));
}

}  // namespace
}  // namespace varnel
