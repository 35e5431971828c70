#include "tests/support/faulty_ports.h"

#include <gtest/gtest.h>

#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

TEST(FaultyPorts, ForwardAndRecordEachCall) {
  ScriptedPlatform machine;
  FaultPlan plan;
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_TRUE(platform::FilesPort().CreateDirectoryW(u"C:\\Made"));
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\Made"));
  EXPECT_EQ(plan.CountOf("CreateDirectoryW"), 1u);
}

TEST(FaultyPorts, FailTheNthCallOnceWithItsCodeAsLastError) {
  ScriptedPlatform machine;
  FaultPlan plan;
  const FaultyPlatform faulty(machine.ports, &plan);
  plan.Fail({"CreateDirectoryW", 2, false, 112});
  EXPECT_TRUE(platform::FilesPort().CreateDirectoryW(u"C:\\A"));
  EXPECT_FALSE(platform::FilesPort().CreateDirectoryW(u"C:\\B"));
  EXPECT_EQ(platform::SystemPort().GetLastError(), 112u);
  EXPECT_FALSE(machine.files.Exists(u"C:\\B"));
  EXPECT_TRUE(platform::FilesPort().CreateDirectoryW(u"C:\\C"));
  EXPECT_EQ(plan.failures(), 1u);
}

TEST(FaultyPorts, FailForEverFromTheNthCallOn) {
  ScriptedPlatform machine;
  FaultPlan plan;
  const FaultyPlatform faulty(machine.ports, &plan);
  plan.Fail({"RegFlushKey", 2, true, 1016});
  EXPECT_EQ(platform::RegistryPort().RegFlushKey(platform::kHkeyLocalMachine), 0u);
  EXPECT_EQ(platform::RegistryPort().RegFlushKey(platform::kHkeyLocalMachine), 1016u);
  EXPECT_EQ(platform::RegistryPort().RegFlushKey(platform::kHkeyLocalMachine), 1016u);
}

TEST(FaultyPorts, FailuresLookAsTheOperationMakesThem) {
  ScriptedPlatform machine;
  FaultPlan plan;
  const FaultyPlatform faulty(machine.ports, &plan);
  for (const char* operation : {"CreateFileW", "OpenTraceW", "GetFileAttributesW", "CreateEventW", "CoCreateGuid",
                                "HeapAlloc", "GetTempPathW", "WaitForSingleObject"}) {
    plan.Fail(operation, 14);
  }
  EXPECT_EQ(platform::FilesPort().CreateFileW(u"C:\\a", 0, 0, platform::kOpenAlways, 0), platform::kInvalidHandleValue);
  platform::EVENT_TRACE_LOGFILEW logfile{};
  EXPECT_EQ(platform::TracePort().OpenTraceW(&logfile), platform::kInvalidProcessTraceHandle);
  EXPECT_EQ(platform::FilesPort().GetFileAttributesW(u"C:\\"), platform::kInvalidFileAttributes);
  EXPECT_EQ(platform::ThreadsPort().CreateEventW(true, true), nullptr);
  GUID guid;
  EXPECT_EQ(platform::SystemPort().CoCreateGuid(&guid), 14);
  EXPECT_EQ(platform::SystemPort().HeapAlloc(10), nullptr);
  char16_t path[260];
  EXPECT_EQ(platform::FilesPort().GetTempPathW(260, path), 0u);
  EXPECT_EQ(platform::ThreadsPort().WaitForSingleObject(nullptr, 0), platform::kWaitFailed);
}

}  // namespace
}  // namespace varnel::testing
