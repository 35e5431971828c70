#include "platform/windows/win32_tdh.h"

#include "platform/windows/etw_headers.h"
#include "platform/windows/system_library.h"

namespace varnel::windows {
namespace {

using LoadManifestFunction = ULONG(WINAPI*)(const wchar_t*);
using GetEventInformationFunction = ULONG(WINAPI*)(const ::EVENT_RECORD*, ULONG, const void*, ::TRACE_EVENT_INFO*,
                                                   ULONG*);
using GetPropertySizeFunction = ULONG(WINAPI*)(const ::EVENT_RECORD*, ULONG, const void*, ULONG,
                                               const ::PROPERTY_DATA_DESCRIPTOR*, ULONG*);
using GetPropertyFunction = ULONG(WINAPI*)(const ::EVENT_RECORD*, ULONG, const void*, ULONG,
                                           const ::PROPERTY_DATA_DESCRIPTOR*, ULONG, BYTE*);

HMODULE Library() {
  static const HMODULE library = LoadFromSystemFolder(L"tdh.dll");
  return library;
}

}  // namespace

std::uint32_t Win32Tdh::TdhLoadManifest(const char16_t* path) {
  static const auto call = FindIn<LoadManifestFunction>(Library(), "TdhLoadManifest");
  return call != nullptr ? call(Wide(path)) : ULONG{ERROR_PROC_NOT_FOUND};
}

std::uint32_t Win32Tdh::TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                               std::uint32_t* size) {
  static const auto call = FindIn<GetEventInformationFunction>(Library(), "TdhGetEventInformation");
  if (call == nullptr) return ERROR_PROC_NOT_FOUND;
  return call(Across<::EVENT_RECORD>(event), 0, nullptr, Across<::TRACE_EVENT_INFO>(buffer), Across<ULONG>(size));
}

std::uint32_t Win32Tdh::TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                           const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) {
  static const auto call = FindIn<GetPropertySizeFunction>(Library(), "TdhGetPropertySize");
  if (call == nullptr) return ERROR_PROC_NOT_FOUND;
  return call(Across<::EVENT_RECORD>(event), 0, nullptr, descriptor_count,
              Across<::PROPERTY_DATA_DESCRIPTOR>(descriptors), Across<ULONG>(size));
}

std::uint32_t Win32Tdh::TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                       const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                                       std::uint8_t* buffer) {
  static const auto call = FindIn<GetPropertyFunction>(Library(), "TdhGetProperty");
  if (call == nullptr) return ERROR_PROC_NOT_FOUND;
  return call(Across<::EVENT_RECORD>(event), 0, nullptr, descriptor_count,
              Across<::PROPERTY_DATA_DESCRIPTOR>(descriptors), size, buffer);
}

}  // namespace varnel::windows
