// The system port of a machine folder. Any thread may call.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/embedded/core/environment.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/system/library_table.h"
#include "platform/system.h"

namespace varnel::embedded {

/// Takes what the process writes for a debugger, as UTF-8. Called by any thread, also by several at once.
using DebugSink = std::function<void(std::string_view text)>;

/// Replaces the process's sink. At first texts go nowhere, or to standard error when the host's environment says
/// VARNEL_DEBUG_OUTPUT=stderr. An empty function restores that.
void SetDebugSink(DebugSink sink);

class EmbeddedSystem : public platform::System {
 public:
  /// Borrows the environment. Without a machine there are no libraries.
  EmbeddedSystem(std::shared_ptr<const Machine> machine, Environment* environment);

  /// What GetModuleFileNameW answers for the process itself. At first the host's place on every machine, or what the
  /// host's environment says in VARNEL_HOST_IMAGE.
  void SetHostImage(std::u16string path);

  /// What the libraries answer that this process can load.
  LibraryTable& libraries() { return libraries_; }

  bool CloseHandle(platform::HANDLE handle) override;
  std::uint32_t GetLastError() override;
  void SetLastError(std::uint32_t error) override;
  std::uint32_t GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) override;
  std::uint32_t ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) override;
  std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) override;
  bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value) override;
  std::uint32_t GetModuleFileNameW(platform::HMODULE module, char16_t* buffer, std::uint32_t capacity) override;
  platform::HMODULE LoadLibraryW(const char16_t* path) override;
  platform::Procedure GetProcAddress(platform::HMODULE module, const char* name) override;
  bool FreeLibrary(platform::HMODULE module) override;
  std::uint32_t SetErrorMode(std::uint32_t mode) override;
  void GetSystemTimeAsFileTime(platform::FILETIME* time) override;
  void GetSystemTimePreciseAsFileTime(platform::FILETIME* time) override;
  bool FileTimeToSystemTime(const platform::FILETIME* time, platform::SYSTEMTIME* result) override;
  bool SystemTimeToFileTime(const platform::SYSTEMTIME* time, platform::FILETIME* result) override;
  bool SystemTimeToTzSpecificLocalTime(const platform::TIME_ZONE_INFORMATION* zone,
                                       const platform::SYSTEMTIME* universal, platform::SYSTEMTIME* local) override;
  void GetLocalTime(platform::SYSTEMTIME* time) override;
  std::int32_t CoCreateGuid(GUID* guid) override;
  std::int32_t StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) override;
  std::uint32_t GetCurrentProcessId() override;
  std::uint32_t GetCurrentThreadId() override;
  bool OpenProcessToken(std::uint32_t access, platform::HANDLE* token) override;
  bool GetTokenInformation(platform::HANDLE token, std::uint32_t information_class, void* information,
                           std::uint32_t size, std::uint32_t* needed) override;
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
  bool DisableThreadLibraryCalls(platform::HMODULE module) override;

 private:
  std::u16string HostImage() const;

  Environment* const environment_;
  LibraryTable libraries_;
  mutable std::mutex mutex_;
  std::u16string host_image_;  // guarded by mutex_
};

}  // namespace varnel::embedded
