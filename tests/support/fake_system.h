// The system port in memory: a settable clock that runs with the virtual time, and texts, libraries and debug output
// that a test sets and reads.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/system.h"
#include "tests/support/fake_handles.h"
#include "tests/support/virtual_time.h"

namespace varnel::testing {

/// Borrows both. One at a time: the precise time function is found through the newest. Tests set the public fields
/// before other threads run.
class FakeSystem : public platform::System {
 public:
  FakeSystem(FakeHandles* handles, VirtualTime* time);
  ~FakeSystem() override;

  std::u16string system_directory = u"C:\\Windows\\System32";
  std::u16string host_path = u"C:\\Program Files\\Varnel\\Host\\wardlet.exe";
  std::map<std::u16string, std::u16string> environment = {{u"SystemRoot", u"C:\\Windows"}};  // compared without case
  /// Libraries that load; their functions are looked up in `procedures`.
  std::set<std::u16string> libraries = {u"kernel32.dll"};
  std::map<std::string, platform::Procedure> procedures;
  bool elevated = true;
  /// The narrow code page gives each byte a character of its own when it is read; otherwise it is UTF-8.
  bool narrow_is_latin1 = false;
  std::int32_t zone_bias = 0;  // minutes; of the machine's own zone: UTC = local time + bias
  std::uint32_t process_id = 4242;
  /// What GuardedCall answers instead of calling, unless it is empty.
  std::function<std::uint32_t(platform::GuardedFunction, void*)> guard;
  /// What RtlDecompressBuffer does; without it the port answers 0xC00000BB, not supported.
  std::function<std::uint32_t(std::uint16_t, void*, std::uint32_t, const void*, std::uint32_t, std::uint32_t*)> unpack;

  /// Sets the clock; it goes on from there with the virtual time.
  void SetTime(std::uint64_t file_time);
  std::uint64_t Now() const;
  /// The lines sent to the debugger output, in UTF-8.
  std::vector<std::string> DebugLines() const;
  /// All lines as one text.
  std::string DebugText() const;
  bool Logged(const std::string& piece) const { return DebugText().find(piece) != std::string::npos; }
  void ClearDebug();
  /// Blocks of the heap that were not freed.
  int heap_blocks() const { return heap_blocks_.load(); }
  /// The n-th HeapAlloc from now on (from 1) gives null, and with `persistent` all behind it.
  void FailAllocation(unsigned nth, bool persistent = false);

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
  std::uint32_t GetCurrentProcessId() override { return process_id; }
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
  bool DisableThreadLibraryCalls(platform::HMODULE) override { return true; }

 private:
  FakeHandles* handles_;
  VirtualTime* time_;
  mutable std::mutex mutex_;
  std::uint64_t base_time_;  // the clock at virtual time 0
  std::vector<std::string> debug_lines_;
  std::map<std::uintptr_t, std::u16string> loaded_;
  std::uintptr_t next_module_ = 0x7FF000000000;
  std::uint32_t next_guid_ = 1;
  std::uint32_t error_mode_ = 0;
  unsigned allocations_ = 0;
  unsigned failing_allocation_ = 0;  // 0: none
  bool failing_from_there_ = false;
  std::atomic<int> heap_blocks_{0};
};

}  // namespace varnel::testing
