// The system port by the system's own calls.
#pragma once

#include "platform/system.h"

namespace varnel::windows {

class Win32System final : public platform::System {
 public:
  using HANDLE = platform::HANDLE;
  using HMODULE = platform::HMODULE;
  using FILETIME = platform::FILETIME;
  using SYSTEMTIME = platform::SYSTEMTIME;
  using TIME_ZONE_INFORMATION = platform::TIME_ZONE_INFORMATION;

  bool CloseHandle(HANDLE handle) override;
  std::uint32_t GetLastError() override;
  void SetLastError(std::uint32_t error) override;
  std::uint32_t GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) override;
  std::uint32_t ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) override;
  std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) override;
  bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value) override;
  std::uint32_t GetModuleFileNameW(HMODULE module, char16_t* buffer, std::uint32_t capacity) override;
  HMODULE LoadLibraryW(const char16_t* path) override;
  platform::Procedure GetProcAddress(HMODULE module, const char* name) override;
  bool FreeLibrary(HMODULE module) override;
  std::uint32_t SetErrorMode(std::uint32_t mode) override;
  void GetSystemTimeAsFileTime(FILETIME* time) override;
  void GetSystemTimePreciseAsFileTime(FILETIME* time) override;
  bool FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* result) override;
  bool SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* result) override;
  bool SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                       SYSTEMTIME* local) override;
  void GetLocalTime(SYSTEMTIME* time) override;
  std::int32_t CoCreateGuid(GUID* guid) override;
  std::int32_t StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) override;
  std::uint32_t GetCurrentProcessId() override;
  std::uint32_t GetCurrentThreadId() override;
  bool OpenProcessToken(std::uint32_t access, HANDLE* token) override;
  bool GetTokenInformation(HANDLE token, std::uint32_t information_class, void* information, std::uint32_t size,
                           std::uint32_t* needed) override;
  std::int32_t CoInitializeEx(std::uint32_t concurrency_model) override;
  void CoUninitialize() override;
  std::int32_t MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text, std::int32_t length,
                                   char16_t* buffer, std::int32_t capacity) override;
  std::int32_t WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                   std::int32_t length, char* buffer, std::int32_t capacity) override;
  void OutputDebugStringW(const char16_t* text) override;
  void OutputDebugStringA(const char* text) override;
  void* HeapAlloc(std::size_t size) override;
  void HeapFree(void* block) override;
  std::uint32_t GuardedCall(platform::GuardedFunction function, void* parameter) override;
  std::uint32_t RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                                    std::uint32_t in_size, std::uint32_t* final_size) override;
  bool DisableThreadLibraryCalls(HMODULE module) override;
};

}  // namespace varnel::windows
