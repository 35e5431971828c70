// KillMachine: a machine on which the module's process is killed again and again while a provider runs on, and what is
// known of it afterwards. One thread; several machines can be worked side by side.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/scenario/event_source.h"
#include "tests/scenario/kill_verdict.h"
#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {

struct KillPlan {
  std::uint64_t seed = 1;
  int kills = 20;
  bool auto_logger = false;                 // the session of a boot; else the temporary one, which the first run starts
  std::chrono::milliseconds shortest{100};  // a run's life
  std::chrono::milliseconds longest{1500};
};

class KillMachine {
 public:
  explicit KillMachine(const KillPlan& plan);

  /// Runs and kills the module as planned, then runs it once more until it is idle. Fails the test when a run ends by
  /// itself, when the session lost an event or when the trace file does not hold what was written.
  KillEvidence Play();

 private:
  void Prepare();
  void RunAndKill(int index);
  void RunUntilIdle();
  host::ChildProcess StartRun();
  void Gather(bool killed);
  void ReadTexts(RunEvidence* run);
  void ReadWritten();
  std::string TextFile() const { return machine_.File("texts"); }
  std::string TraceFile() const { return machine_.File("traces"); }
  std::string OrderFile() const { return machine_.File("order"); }

  const KillPlan plan_;
  std::mt19937_64 random_;
  ScenarioMachine machine_;
  std::unique_ptr<EventSource> source_;
  std::size_t texts_read_ = 0;  // bytes of the text file
  KillEvidence evidence_;
};

}  // namespace varnel::scenario
