// A whole platform in memory, in force for its scope: every port scripted, threads on virtual time. Tests reach the
// ports as members. The thread that makes it takes part in the virtual time (see virtual_time.h).
#pragma once

#include "platform/platform.h"
#include "tests/support/fake_crypto.h"
#include "tests/support/fake_event_log.h"
#include "tests/support/fake_files.h"
#include "tests/support/fake_handles.h"
#include "tests/support/fake_registry.h"
#include "tests/support/fake_system.h"
#include "tests/support/fake_tdh.h"
#include "tests/support/fake_threads.h"
#include "tests/support/fake_trace.h"
#include "tests/support/virtual_time.h"

namespace varnel::testing {

class ScriptedPlatform {
 public:
  ScriptedPlatform() = default;
  ScriptedPlatform(const ScriptedPlatform&) = delete;
  ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

  VirtualTime time;
  FakeHandles handles;
  FakeSystem system{&handles, &time};
  FakeRegistry registry;
  FakeFiles files{&handles, [this] { return system.Now(); }};
  FakeTrace trace{&time};
  FakeTdh tdh;
  FakeCrypto crypto;
  FakeThreads threads{&handles, &time};
  FakeEventLog event_log;
  platform::Platform ports{&registry, &files, &threads, &trace, &tdh, &crypto, &system, &event_log};

  /// A trace file that stands in the folder and can be read.
  void AddTraceFile(std::u16string_view path, std::vector<ScriptedEvent> events, std::size_t events_in_buffer = 0) {
    files.AddFile(path, "trace");
    trace.AddFile(path, std::move(events), events_in_buffer);
  }

 private:
  platform::ScopedPlatform in_force_{&ports};
};

}  // namespace varnel::testing
