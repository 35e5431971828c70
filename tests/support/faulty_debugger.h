// A decorator of a debugger engine: it records each call in a FaultPlan, makes the call fail when the plan says so, and
// else forwards it to the engine below. A fault's code is the call's result; a failing call does not reach the engine
// below. Forwards what the module calls; every other slot is not implemented.
#pragma once

#include "platform/debugger/engine.h"
#include "tests/support/fault_plan.h"

namespace varnel::testing {

/// One at a time, in force for its scope: engines that `function` makes are decorated. Borrows the plan. Calls are
/// named as ScriptedDebugger names them.
class FaultyDebugger {
 public:
  /// `below` makes the engines that are decorated.
  FaultyDebugger(platform::DebugCreateFunction below, FaultPlan* plan);
  /// All engines must be gone.
  ~FaultyDebugger();
  FaultyDebugger(const FaultyDebugger&) = delete;
  FaultyDebugger& operator=(const FaultyDebugger&) = delete;

  /// To be given out as "DebugCreate".
  platform::DebugCreateFunction function() const;
};

}  // namespace varnel::testing
