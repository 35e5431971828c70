// A whole platform in memory, in force for its scope: every port scripted, threads on virtual time. Tests reach the
// ports as members. The thread that makes it takes part in the virtual time (see virtual_time.h).
#pragma once

#include "platform/platform.h"
#include "tests/support/fake_files.h"
#include "tests/support/fake_handles.h"
#include "tests/support/fake_registry.h"
#include "tests/support/fake_system.h"
#include "tests/support/fake_threads.h"
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
  FakeThreads threads{&handles, &time};
  platform::Platform ports{&registry, &files, &threads, nullptr, nullptr, nullptr, &system};

 private:
  platform::ScopedPlatform in_force_{&ports};
};

}  // namespace varnel::testing
