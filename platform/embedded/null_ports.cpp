#include "platform/embedded/null_ports.h"

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {
namespace {

using platform::kErrorNotSupported;

}  // namespace

std::uint32_t NullRegistry::RegOpenKeyExW(platform::HKEY, const char16_t*, std::uint32_t, std::uint32_t,
                                          platform::HKEY*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegCreateKeyExW(platform::HKEY, const char16_t*, std::uint32_t, std::uint32_t,
                                            platform::HKEY*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegCloseKey(platform::HKEY) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegQueryValueExW(platform::HKEY, const char16_t*, std::uint32_t*, void*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegSetValueExW(platform::HKEY, const char16_t*, std::uint32_t, const void*, std::uint32_t) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegDeleteValueW(platform::HKEY, const char16_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegEnumValueW(platform::HKEY, std::uint32_t, char16_t*, std::uint32_t*, std::uint32_t*,
                                          void*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegEnumKeyExW(platform::HKEY, std::uint32_t, char16_t*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegQueryInfoKeyW(platform::HKEY, std::uint32_t*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegDeleteKeyW(platform::HKEY, const char16_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegDeleteTreeW(platform::HKEY, const char16_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullRegistry::RegFlushKey(platform::HKEY) {
  return kErrorNotSupported;
}

std::uint32_t NullTrace::StartTraceW(platform::TRACEHANDLE*, const char16_t*, platform::EVENT_TRACE_PROPERTIES*) {
  return kErrorNotSupported;
}

std::uint32_t NullTrace::ControlTraceW(platform::TRACEHANDLE, const char16_t*, platform::EVENT_TRACE_PROPERTIES*,
                                       std::uint32_t) {
  return kErrorNotSupported;
}

std::uint32_t NullTrace::EnableTraceEx2(platform::TRACEHANDLE, const GUID*, std::uint32_t, std::uint8_t, std::uint64_t,
                                        std::uint64_t, std::uint32_t, const void*) {
  return kErrorNotSupported;
}

std::uint32_t NullTrace::EnumerateTraceGuidsEx(std::uint32_t, const void*, std::uint32_t, void*, std::uint32_t,
                                               std::uint32_t*) {
  return kErrorNotSupported;
}

platform::TRACEHANDLE NullTrace::OpenTraceW(platform::EVENT_TRACE_LOGFILEW*) {
  SetLastError(kErrorNotSupported);
  return platform::kInvalidProcessTraceHandle;
}

std::uint32_t NullTrace::ProcessTrace(const platform::TRACEHANDLE*, std::uint32_t, const platform::FILETIME*,
                                      const platform::FILETIME*) {
  return kErrorNotSupported;
}

std::uint32_t NullTrace::CloseTrace(platform::TRACEHANDLE) {
  return kErrorNotSupported;
}

std::uint32_t NullTdh::TdhLoadManifest(const char16_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullTdh::TdhGetEventInformation(const platform::EVENT_RECORD*, platform::TRACE_EVENT_INFO*,
                                              std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullTdh::TdhGetPropertySize(const platform::EVENT_RECORD*, std::uint32_t,
                                          const platform::PROPERTY_DATA_DESCRIPTOR*, std::uint32_t*) {
  return kErrorNotSupported;
}

std::uint32_t NullTdh::TdhGetProperty(const platform::EVENT_RECORD*, std::uint32_t,
                                      const platform::PROPERTY_DATA_DESCRIPTOR*, std::uint32_t, std::uint8_t*) {
  return kErrorNotSupported;
}

platform::EVT_HANDLE NullEventLog::EvtQuery(platform::EVT_HANDLE, const char16_t*, const char16_t*, std::uint32_t) {
  SetLastError(kErrorNotSupported);
  return nullptr;
}

bool NullEventLog::EvtNext(platform::EVT_HANDLE, std::uint32_t, platform::EVT_HANDLE*, std::uint32_t, std::uint32_t,
                           std::uint32_t*) {
  SetLastError(kErrorNotSupported);
  return false;
}

bool NullEventLog::EvtRender(platform::EVT_HANDLE, platform::EVT_HANDLE, std::uint32_t, std::uint32_t, void*,
                             std::uint32_t*, std::uint32_t*) {
  SetLastError(kErrorNotSupported);
  return false;
}

bool NullEventLog::EvtClose(platform::EVT_HANDLE) {
  SetLastError(kErrorNotSupported);
  return false;
}

}  // namespace varnel::embedded
