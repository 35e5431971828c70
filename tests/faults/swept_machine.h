// A scripted machine with the module installed on it, whose every platform call can be made to fail, and what one run
// of the module on it comes to.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/sweep_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/tool/tool_fixture.h"

namespace varnel::testing {

/// Names the module's threads in their call sites, and lets the others run when a wait for several objects fails, as a
/// thread that spins does on a real machine.
class SweptThreads : public FaultyThreads {
 public:
  SweptThreads(platform::Threads* port, FaultPlan* plan, VirtualTime* time) : FaultyThreads(port, plan), time_(time) {}

  platform::HANDLE CreateThread(platform::ThreadStart start, void* parameter) override;
  std::uint32_t WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                       std::uint32_t timeout_ms) override;

 private:
  VirtualTime* time_;
};

/// Lets a test stand around each reading of a trace, on the reading thread.
class SweptTrace : public FaultyTrace {
 public:
  using FaultyTrace::FaultyTrace;

  std::function<std::uint32_t(const std::function<std::uint32_t()>& process)> around_processing;

  std::uint32_t ProcessTrace(const platform::TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                             const platform::FILETIME* end) override {
    const auto process = [&] { return FaultyTrace::ProcessTrace(traces, count, start, end); };
    return around_processing ? around_processing(process) : process();
  }
};

/// Can give each consumer's record a page of its own, which nobody may touch once it is freed.
class SweptSystem : public FaultySystem {
 public:
  using FaultySystem::FaultySystem;

  /// From now on the process ends with `exit_code` and a message at the first use of a freed record.
  void WatchFreedConsumers(int exit_code);

  void* HeapAlloc(std::size_t size) override;
  void HeapFree(void* block) override;

 private:
  bool watching_ = false;
};

class SweptMachine {
 public:
  /// In force, with one thread at a time, from here to its end; the maker's thread is the host's.
  SweptMachine();
  ~SweptMachine();
  SweptMachine(const SweptMachine&) = delete;
  SweptMachine& operator=(const SweptMachine&) = delete;

  ScriptedMachine platform;
  SweepPlan plan;
  HostRecord host;
  /// Called on the consumer's thread before a text is recorded.
  std::function<void()> on_text;

  std::uint32_t Install();
  std::uint32_t Start();
  std::uint32_t Stop();
  std::uint32_t Uninstall();
  /// Lets the module's threads work for two seconds of their time, longer than an event is ever held back.
  void Run();

  /// The lines of the log so far, without their times and line ends.
  std::vector<std::string> Lines() const;
  SweptSystem& system() { return system_; }
  SweptTrace& trace() { return trace_; }
  /// What the log file holds.
  std::string LogFile() const;
  /// What is open behind the module's back: handles without the log file's, those of the event log, keys, traces, and
  /// blocks of the heap.
  struct Open {
    std::size_t handles = 0;
    std::size_t log_handles = 0;
    std::size_t keys = 0;
    std::size_t traces = 0;
    int heap_blocks = 0;
  };
  Open StillOpen() const;

 private:
  static std::uint32_t OnText(void* context, const char* text);

  FaultyRegistry registry_{&platform.registry, &plan};
  FaultyFiles files_{&platform.files, &plan};
  SweptThreads threads_{&platform.threads, &plan, &platform.time};
  SweptTrace trace_{&platform.trace, &plan};
  FaultyTdh tdh_{&platform.tdh, &plan};
  FaultyCrypto crypto_{&platform.crypto, &plan};
  SweptSystem system_{&platform.system, &plan};
  FaultyEventLog event_log_{&platform.event_log, &plan};
  platform::Platform ports_{&registry_, &files_, &threads_, &trace_, &tdh_, &crypto_, &system_, &event_log_};
  platform::ScopedPlatform in_force_{&ports_};
};

}  // namespace varnel::testing
