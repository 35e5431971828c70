// Ports that a machine does not have: each call answers kErrorNotSupported, and what would be a count or a handle is
// none. They stand in for the registry, the traces and their decoding where there is no machine, and for an event log.
// Stateless.
#pragma once

#include "platform/eventlog.h"
#include "platform/registry.h"
#include "platform/tdh.h"
#include "platform/trace.h"

namespace varnel::embedded {

class NullRegistry : public platform::Registry {
 public:
  std::uint32_t RegOpenKeyExW(platform::HKEY, const char16_t*, std::uint32_t, std::uint32_t, platform::HKEY*) override;
  std::uint32_t RegCreateKeyExW(platform::HKEY, const char16_t*, std::uint32_t, std::uint32_t, platform::HKEY*,
                                std::uint32_t*) override;
  std::uint32_t RegCloseKey(platform::HKEY) override;
  std::uint32_t RegQueryValueExW(platform::HKEY, const char16_t*, std::uint32_t*, void*, std::uint32_t*) override;
  std::uint32_t RegSetValueExW(platform::HKEY, const char16_t*, std::uint32_t, const void*, std::uint32_t) override;
  std::uint32_t RegDeleteValueW(platform::HKEY, const char16_t*) override;
  std::uint32_t RegEnumValueW(platform::HKEY, std::uint32_t, char16_t*, std::uint32_t*, std::uint32_t*, void*,
                              std::uint32_t*) override;
  std::uint32_t RegEnumKeyExW(platform::HKEY, std::uint32_t, char16_t*, std::uint32_t*) override;
  std::uint32_t RegQueryInfoKeyW(platform::HKEY, std::uint32_t*, std::uint32_t*) override;
  std::uint32_t RegDeleteKeyW(platform::HKEY, const char16_t*) override;
  std::uint32_t RegDeleteTreeW(platform::HKEY, const char16_t*) override;
  std::uint32_t RegFlushKey(platform::HKEY) override;
};

class NullTrace : public platform::Trace {
 public:
  std::uint32_t StartTraceW(platform::TRACEHANDLE*, const char16_t*, platform::EVENT_TRACE_PROPERTIES*) override;
  std::uint32_t ControlTraceW(platform::TRACEHANDLE, const char16_t*, platform::EVENT_TRACE_PROPERTIES*,
                              std::uint32_t) override;
  std::uint32_t EnableTraceEx2(platform::TRACEHANDLE, const GUID*, std::uint32_t, std::uint8_t, std::uint64_t,
                               std::uint64_t, std::uint32_t, const void*) override;
  std::uint32_t EnumerateTraceGuidsEx(std::uint32_t, const void*, std::uint32_t, void*, std::uint32_t,
                                      std::uint32_t*) override;
  platform::TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW*) override;
  std::uint32_t ProcessTrace(const platform::TRACEHANDLE*, std::uint32_t, const platform::FILETIME*,
                             const platform::FILETIME*) override;
  std::uint32_t CloseTrace(platform::TRACEHANDLE) override;
};

class NullTdh : public platform::Tdh {
 public:
  std::uint32_t TdhLoadManifest(const char16_t*) override;
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD*, platform::TRACE_EVENT_INFO*,
                                       std::uint32_t*) override;
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD*, std::uint32_t,
                                   const platform::PROPERTY_DATA_DESCRIPTOR*, std::uint32_t*) override;
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD*, std::uint32_t, const platform::PROPERTY_DATA_DESCRIPTOR*,
                               std::uint32_t, std::uint8_t*) override;
};

class NullEventLog : public platform::EventLog {
 public:
  platform::EVT_HANDLE EvtQuery(platform::EVT_HANDLE, const char16_t*, const char16_t*, std::uint32_t) override;
  bool EvtNext(platform::EVT_HANDLE, std::uint32_t, platform::EVT_HANDLE*, std::uint32_t, std::uint32_t,
               std::uint32_t*) override;
  bool EvtRender(platform::EVT_HANDLE, platform::EVT_HANDLE, std::uint32_t, std::uint32_t, void*, std::uint32_t*,
                 std::uint32_t*) override;
  bool EvtClose(platform::EVT_HANDLE) override;
};

}  // namespace varnel::embedded
