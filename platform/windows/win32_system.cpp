#include "platform/windows/win32_system.h"

#include "platform/windows/border.h"
// After the system's own header.
#include <combaseapi.h>

#include "platform/windows/guarded_call.h"
#include "platform/windows/native_unpack.h"

namespace varnel::windows {

bool Win32System::CloseHandle(HANDLE handle) {
  return ::CloseHandle(handle) != 0;
}

std::uint32_t Win32System::GetLastError() {
  return ::GetLastError();
}

void Win32System::SetLastError(std::uint32_t error) {
  ::SetLastError(error);
}

std::uint32_t Win32System::GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) {
  return ::GetSystemDirectoryW(Wide(buffer), capacity);
}

std::uint32_t Win32System::ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) {
  return ::ExpandEnvironmentStringsW(Wide(source), Wide(buffer), capacity);
}

std::uint32_t Win32System::GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) {
  return ::GetEnvironmentVariableW(Wide(name), Wide(buffer), capacity);
}

bool Win32System::SetEnvironmentVariableW(const char16_t* name, const char16_t* value) {
  return ::SetEnvironmentVariableW(Wide(name), Wide(value)) != 0;
}

std::uint32_t Win32System::GetModuleFileNameW(HMODULE module, char16_t* buffer, std::uint32_t capacity) {
  return ::GetModuleFileNameW(static_cast<::HMODULE>(module), Wide(buffer), capacity);
}

// Callers give full paths, but where the system's own search is wanted; kernel32.dll is in every process before them.
platform::HMODULE Win32System::LoadLibraryW(const char16_t* path) {
  return ::LoadLibraryW(Wide(path));
}

platform::Procedure Win32System::GetProcAddress(HMODULE module, const char* name) {
  return AsFunction<platform::Procedure>(::GetProcAddress(static_cast<::HMODULE>(module), name));
}

bool Win32System::FreeLibrary(HMODULE module) {
  return ::FreeLibrary(static_cast<::HMODULE>(module)) != 0;
}

std::uint32_t Win32System::SetErrorMode(std::uint32_t mode) {
  return ::SetErrorMode(mode);
}

void Win32System::GetSystemTimeAsFileTime(FILETIME* time) {
  ::GetSystemTimeAsFileTime(Across<::FILETIME>(time));
}

void Win32System::GetSystemTimePreciseAsFileTime(FILETIME* time) {
  // Systems before Windows 8 have the coarse one alone.
  using Clock = void(WINAPI*)(::FILETIME*);
  static const auto precise =
      AsFunction<Clock>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetSystemTimePreciseAsFileTime"));
  const Clock clock = precise != nullptr ? precise : &::GetSystemTimeAsFileTime;
  clock(Across<::FILETIME>(time));
}

bool Win32System::FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* result) {
  return ::FileTimeToSystemTime(Across<::FILETIME>(time), Across<::SYSTEMTIME>(result)) != 0;
}

bool Win32System::SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* result) {
  return ::SystemTimeToFileTime(Across<::SYSTEMTIME>(time), Across<::FILETIME>(result)) != 0;
}

bool Win32System::SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                                  SYSTEMTIME* local) {
  return ::SystemTimeToTzSpecificLocalTime(Across<::TIME_ZONE_INFORMATION>(zone), Across<::SYSTEMTIME>(universal),
                                           Across<::SYSTEMTIME>(local)) != 0;
}

void Win32System::GetLocalTime(SYSTEMTIME* time) {
  ::GetLocalTime(Across<::SYSTEMTIME>(time));
}

std::int32_t Win32System::CoCreateGuid(GUID* guid) {
  return ::CoCreateGuid(guid);
}

std::int32_t Win32System::StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) {
  return ::StringFromGUID2(guid, Wide(buffer), capacity);
}

std::uint32_t Win32System::GetCurrentProcessId() {
  return ::GetCurrentProcessId();
}

std::uint32_t Win32System::GetCurrentThreadId() {
  return ::GetCurrentThreadId();
}

bool Win32System::OpenProcessToken(std::uint32_t access, HANDLE* token) {
  return ::OpenProcessToken(::GetCurrentProcess(), access, token) != 0;
}

bool Win32System::GetTokenInformation(HANDLE token, std::uint32_t information_class, void* information,
                                      std::uint32_t size, std::uint32_t* needed) {
  const auto asked = static_cast<TOKEN_INFORMATION_CLASS>(information_class);
  return ::GetTokenInformation(token, asked, information, size, Across<DWORD>(needed)) != 0;
}

std::int32_t Win32System::CoInitializeEx(std::uint32_t concurrency_model) {
  return ::CoInitializeEx(nullptr, concurrency_model);
}

void Win32System::CoUninitialize() {
  ::CoUninitialize();
}

std::int32_t Win32System::MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text,
                                              std::int32_t length, char16_t* buffer, std::int32_t capacity) {
  return ::MultiByteToWideChar(code_page, flags, text, length, Wide(buffer), capacity);
}

std::int32_t Win32System::WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                              std::int32_t length, char* buffer, std::int32_t capacity) {
  return ::WideCharToMultiByte(code_page, flags, Wide(text), length, buffer, capacity, nullptr, nullptr);
}

void Win32System::OutputDebugStringW(const char16_t* text) {
  ::OutputDebugStringW(Wide(text));
}

void Win32System::OutputDebugStringA(const char* text) {
  ::OutputDebugStringA(text);
}

void* Win32System::HeapAlloc(std::size_t size) {
  return ::HeapAlloc(::GetProcessHeap(), 0, size);
}

void Win32System::HeapFree(void* block) {
  ::HeapFree(::GetProcessHeap(), 0, block);
}

std::uint32_t Win32System::GuardedCall(platform::GuardedFunction function, void* parameter) {
  return VarnelGuardedCall(function, parameter);
}

std::uint32_t Win32System::RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                                               std::uint32_t in_size, std::uint32_t* final_size) {
  return NativeUnpack(format, out, out_size, in, in_size, final_size);
}

bool Win32System::DisableThreadLibraryCalls(HMODULE module) {
  return ::DisableThreadLibraryCalls(static_cast<::HMODULE>(module)) != 0;
}

}  // namespace varnel::windows
