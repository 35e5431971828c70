#include "platform/embedded/null_ports.h"

#include <gtest/gtest.h>

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {
namespace {

using platform::kErrorNotSupported;

TEST(NullPorts, EveryCallOfTheRegistryIsNotSupported) {
  NullRegistry registry;
  EXPECT_EQ(registry.RegCreateKeyExW(nullptr, nullptr, 0, 0, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegCloseKey(nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegQueryValueExW(nullptr, nullptr, nullptr, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegSetValueExW(nullptr, nullptr, 0, nullptr, 0), kErrorNotSupported);
  EXPECT_EQ(registry.RegDeleteValueW(nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegEnumValueW(nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegEnumKeyExW(nullptr, 0, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegQueryInfoKeyW(nullptr, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegDeleteKeyW(nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegDeleteTreeW(nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(registry.RegFlushKey(nullptr), kErrorNotSupported);
}

TEST(NullPorts, EveryCallOfTheTracesIsNotSupported) {
  NullTrace trace;
  EXPECT_EQ(trace.StartTraceW(nullptr, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(trace.ControlTraceW(0, nullptr, nullptr, 0), kErrorNotSupported);
  EXPECT_EQ(trace.EnableTraceEx2(0, nullptr, 0, 0, 0, 0, 0, nullptr), kErrorNotSupported);
  EXPECT_EQ(trace.EnumerateTraceGuidsEx(0, nullptr, 0, nullptr, 0, nullptr), kErrorNotSupported);
  EXPECT_EQ(trace.ProcessTrace(nullptr, 0, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(trace.CloseTrace(0), kErrorNotSupported);
  SetLastError(0);
  EXPECT_EQ(trace.OpenTraceW(nullptr), platform::kInvalidProcessTraceHandle);
  EXPECT_EQ(LastError(), kErrorNotSupported);
}

TEST(NullPorts, EveryCallOfTheTraceDataHelperIsNotSupported) {
  NullTdh tdh;
  EXPECT_EQ(tdh.TdhLoadManifest(nullptr), kErrorNotSupported);
  EXPECT_EQ(tdh.TdhGetEventInformation(nullptr, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(tdh.TdhGetPropertySize(nullptr, 0, nullptr, nullptr), kErrorNotSupported);
  EXPECT_EQ(tdh.TdhGetProperty(nullptr, 0, nullptr, 0, nullptr), kErrorNotSupported);
}

TEST(NullPorts, EveryCallOfTheEventLogIsNotSupported) {
  NullEventLog log;
  const auto not_supported = [](bool answer) {
    const std::uint32_t error = LastError();
    SetLastError(0);
    return !answer && error == kErrorNotSupported;
  };
  EXPECT_TRUE(not_supported(log.EvtQuery(nullptr, nullptr, nullptr, 0) != nullptr));
  EXPECT_TRUE(not_supported(log.EvtNext(nullptr, 0, nullptr, 0, 0, nullptr)));
  EXPECT_TRUE(not_supported(log.EvtRender(nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr)));
  EXPECT_TRUE(not_supported(log.EvtClose(nullptr)));
}

}  // namespace
}  // namespace varnel::embedded
