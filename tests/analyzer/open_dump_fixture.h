// A session with a dump open in it.
#pragma once

#include "tests/analyzer/engine_fixture.h"

namespace varnel {

class OpenDumpFixture : public EngineFixture {
 protected:
  OpenDumpFixture() { EXPECT_EQ(session_->OpenDumpNoSymbols(kDumpPath), 0); }

  testing::ScriptedFacts& facts() { return debugger_.facts; }
  /// The kernel, at 0xFFFFF80000000000, and one driver.
  void AddModules() {
    facts().modules = {{0xFFFFF80000000000, 0x1000000, 0x5F000001, 0xABC, 0, "nt", "ntoskrnl.exe", "ntkrnlmp.exe"},
                       {0xFFFFF80010000000, 0x20000, 0x5F000002, 0xDEF, 0, "driver", "\\Driver\\driver.sys", ""}};
  }

  std::unique_ptr<DebugEngineSession> session_ = Make();
};

inline constexpr auto kHresultWrongState = static_cast<std::int32_t>(0x8007139F);
inline constexpr auto kE_FAIL = static_cast<std::int32_t>(0x80004005);
inline constexpr auto kE_POINTER = static_cast<std::int32_t>(0x80004003);

}  // namespace varnel
