#include "host/emitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "platform/embedded/tools/machine_layout.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;

class EmitterTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "emitter.XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    ASSERT_TRUE(embedded::NewMachine(folder_ + "/m").ok());
    run_.machine = folder_ + "/m";
    run_.providers = {&kProviders[0], &kProviders[1]};
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
  EmitRun run_;
};

TEST_F(EmitterTest, CountsWhatNoSessionHears) {
  run_.plan.count = 5;
  run_.plan.repeat_every = 5;
  run_.threads = 3;
  const auto totals = Emit(run_, [] { return false; });
  ASSERT_TRUE(totals.ok());
  EXPECT_EQ(totals.value().unheard, 2u * 6u);  // five and a repeat, of two providers, whatever the threads
  EXPECT_EQ(totals.value().written, 0u);
}

TEST_F(EmitterTest, AStopEndsItBetweenTwoEvents) {
  std::atomic<int> asked{0};
  run_.providers = {&kProviders[0]};
  run_.plan.count = 1'000'000'000;
  run_.rate = 1000;
  const auto totals = Emit(run_, [&asked] { return ++asked > 20; });
  ASSERT_TRUE(totals.ok());
  EXPECT_LT(totals.value().unheard, 20u);
}

TEST_F(EmitterTest, AFolderThatIsNoMachineIsToldByName) {
  run_.machine = folder_;
  const auto totals = Emit(run_, [] { return false; });
  ASSERT_FALSE(totals.ok());
  EXPECT_THAT(totals.error().message, HasSubstr(folder_ + ": ProviderSample can't register: "));
}

}  // namespace
}  // namespace varnel::host
