#include "platform/windows/win32_event_log.h"

#include "platform/windows/border.h"
#include "platform/windows/system_library.h"
// After the system's own header.
#include <winevt.h>

namespace varnel::windows {
namespace {

HMODULE Library() {
  static const HMODULE library = LoadFromSystemFolder(L"wevtapi.dll");
  return library;
}

bool NoSuchFunction() {
  ::SetLastError(ERROR_PROC_NOT_FOUND);
  return false;
}

}  // namespace

platform::EVT_HANDLE Win32EventLog::EvtQuery(EVT_HANDLE session, const char16_t* path, const char16_t* query,
                                             std::uint32_t flags) {
  static const auto call = FindIn<decltype(&::EvtQuery)>(Library(), "EvtQuery");
  if (call == nullptr) {
    NoSuchFunction();
    return nullptr;
  }
  return call(session, Wide(path), Wide(query), flags);
}

bool Win32EventLog::EvtNext(EVT_HANDLE result_set, std::uint32_t count, EVT_HANDLE* events, std::uint32_t timeout_ms,
                            std::uint32_t flags, std::uint32_t* returned) {
  static const auto call = FindIn<decltype(&::EvtNext)>(Library(), "EvtNext");
  if (call == nullptr) return NoSuchFunction();
  return call(result_set, count, events, timeout_ms, flags, Across<DWORD>(returned)) != 0;
}

bool Win32EventLog::EvtRender(EVT_HANDLE context, EVT_HANDLE event, std::uint32_t flags, std::uint32_t buffer_size,
                              void* buffer, std::uint32_t* used, std::uint32_t* property_count) {
  static const auto call = FindIn<decltype(&::EvtRender)>(Library(), "EvtRender");
  if (call == nullptr) return NoSuchFunction();
  return call(context, event, flags, buffer_size, buffer, Across<DWORD>(used), Across<DWORD>(property_count)) != 0;
}

bool Win32EventLog::EvtClose(EVT_HANDLE object) {
  static const auto call = FindIn<decltype(&::EvtClose)>(Library(), "EvtClose");
  if (call == nullptr) return NoSuchFunction();
  return call(object) != 0;
}

}  // namespace varnel::windows
