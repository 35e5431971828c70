// A scripted machine with a scripted debugger engine, and every port behind one plan of faults.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "analyzer/debug_engine_session.h"
#include "base/compiler.h"
#include "base/log.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/hooked_plan.h"
#include "tests/support/scripted_debugger.h"
#include "tests/support/scripted_platform.h"

namespace varnel {

inline constexpr char16_t kDumpPath[] = u"C:\\Windows\\Minidump\\a.dmp";

class EngineFixture : public ::testing::Test {
 protected:
  EngineFixture() {
    WrapLogInit(LOG_ERROR, nullptr);  // all lines of a session are errors
    platform_.system.ClearDebug();
    plan_.Clear();
  }
  /// Nothing stays behind but what is meant to: every handle, block, library and start of COM is given back.
  ~EngineFixture() override {
    EXPECT_EQ(plan_.CountOf("CoInitializeEx") - failed_com_, plan_.CountOf("CoUninitialize"));
    EXPECT_EQ(platform_.handles.open_count(), handles_before_ + lost_handles_);
    EXPECT_EQ(platform_.system.heap_blocks(), static_cast<int>(g_intended_leaks.load() - leaks_before_));
    EXPECT_EQ(debugger_.live_engines(), 0);
  }

  std::unique_ptr<DebugEngineSession> Make(std::uint32_t source = kEngineFromSystemFolder) {
    return std::make_unique<DebugEngineSession>(source);
  }
  bool Logged(const std::string& piece) const { return platform_.system.Logged(piece); }

  testing::ScriptedPlatform platform_;
  testing::HookedPlan plan_;
  testing::FaultyPlatform faulty_{platform_.ports, &plan_};
  testing::ScriptedDebugger debugger_{&platform_.system};
  const std::size_t handles_before_ = platform_.handles.open_count();
  const std::uint32_t leaks_before_ = g_intended_leaks.load();
  std::size_t lost_handles_ = 0;
  unsigned failed_com_ = 0;
};

}  // namespace varnel
