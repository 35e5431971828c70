#include "analyzer/wait_for_event_worker.h"

#include <gtest/gtest.h>

#include "tests/analyzer/engine_fixture.h"

namespace varnel {
namespace {

class Worker : public EngineFixture {
 protected:
  Worker() {
    void* object = nullptr;
    const auto create = reinterpret_cast<platform::DebugCreateFunction>(platform_.system.procedures.at("DebugCreate"));
    EXPECT_EQ(create(platform::kIidDebugControl, &object), 0);
    param_.control = static_cast<platform::IDebugControl*>(object);
    param_.doneEvent = platform_.threads.CreateEventW(true, false);
  }
  ~Worker() override {
    param_.control->Release();
    platform_.system.CloseHandle(param_.doneEvent);
  }

  WaitForEventParam param_{nullptr, 100, nullptr, static_cast<std::int32_t>(0x80004005)};
};

TEST_F(Worker, StoresTheResultThenSignalsAndEndsWith0) {
  EXPECT_EQ(WaitForEventWorker(&param_), 0u);
  EXPECT_EQ(param_.result, 0);
  EXPECT_EQ(platform_.threads.WaitForSingleObject(param_.doneEvent, 0), 0u);
}

TEST_F(Worker, PassesItsLimitToTheEngine) {
  debugger_.load_ms = 5000;
  EXPECT_EQ(WaitForEventWorker(&param_), 0u);
  EXPECT_EQ(param_.result, 1);
  EXPECT_EQ(platform_.time.now_ms(), 100u);
}

TEST_F(Worker, EndsWith1WhenTheWaitFails) {
  debugger_.calls.FailForEver("WaitForEvent", 0x8000FFFF);
  EXPECT_EQ(WaitForEventWorker(&param_), 1u);
  EXPECT_EQ(param_.result, static_cast<std::int32_t>(0x8000FFFF));
  EXPECT_EQ(platform_.threads.WaitForSingleObject(param_.doneEvent, 0), 0u);
}

TEST(WaitForItsAnswer, LastsAsLongAsTheHostSays) {
  EXPECT_EQ(WaitLimit(100, 600), 600u);
  EXPECT_EQ(WaitLimit(platform::kInfinite, 900'000), 900'000u);
  EXPECT_EQ(WaitLimit(100, platform::kInfinite), platform::kInfinite);
}

TEST(WaitForItsAnswer, LastsASecondLongerThanTheEnginesWhenTheHostHasNoLimit) {
  EXPECT_EQ(WaitLimit(0, 0), 1000u);
  EXPECT_EQ(WaitLimit(100, 0), 1100u);
  EXPECT_EQ(WaitLimit(0xFFFFFFFF - 1000, 0), 0xFFFFFFFFu);
}

TEST(WaitForItsAnswer, HasNoLimitWhereASecondMoreOverflows) {
  EXPECT_EQ(WaitLimit(0xFFFFFFFF - 999, 0), 0xFFFFFFFFu);
  EXPECT_EQ(WaitLimit(0xFFFFFFFF, 0), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace varnel
