// A decorator for each port: it records each call in a FaultPlan, makes the call fail when the plan says so, and else
// forwards it. A failing call does not reach the port below. Its code is the result itself where the operation's result
// is an error number, and the last error where the operation answers with a boolean, a handle or a count.
#pragma once

#include <utility>

#include "platform/platform.h"
#include "tests/support/fault_plan.h"
#include "tests/support/last_error.h"

namespace varnel::testing {

/// Tells the plan that a call is under way.
class PortCallScope {
 public:
  explicit PortCallScope(FaultPlan* plan) : plan_(plan) { plan_->Enter(); }
  ~PortCallScope() { plan_->Leave(); }
  PortCallScope(const PortCallScope&) = delete;
  PortCallScope& operator=(const PortCallScope&) = delete;

 private:
  FaultPlan* const plan_;
};

/// What the decorators have in common. Borrows both.
template <typename Port>
class FaultyPort : public Port {
 public:
  FaultyPort(Port* port, FaultPlan* plan) : port_(port), plan_(plan) {}

 protected:
  /// The result is an error number.
  template <typename Call>
  auto Coded(const char* operation, const Call& call) -> decltype(call()) {
    const PortCallScope under_way(plan_);
    const auto code = plan_->Called(operation);
    return code ? static_cast<decltype(call())>(*code) : call();
  }
  /// The result is `failure` when the call fails; the code becomes the last error.
  template <typename Call>
  auto Told(const char* operation, decltype(std::declval<Call>()()) failure, const Call& call) -> decltype(call()) {
    const PortCallScope under_way(plan_);
    const auto code = plan_->Called(operation);
    if (!code) return call();
    FailWith(*code);
    return failure;
  }

  Port* const port_;
  FaultPlan* const plan_;
};

class FaultyRegistry : public FaultyPort<platform::Registry> {
 public:
  using FaultyPort::FaultyPort;

  std::uint32_t RegOpenKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                              platform::HKEY* result) override {
    return Coded("RegOpenKeyExW", [&] { return port_->RegOpenKeyExW(key, sub_key, options, access, result); });
  }
  std::uint32_t RegCreateKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                std::uint32_t access, platform::HKEY* result, std::uint32_t* disposition) override {
    return Coded("RegCreateKeyExW",
                 [&] { return port_->RegCreateKeyExW(key, sub_key, options, access, result, disposition); });
  }
  std::uint32_t RegCloseKey(platform::HKEY key) override {
    return Coded("RegCloseKey", [&] { return port_->RegCloseKey(key); });
  }
  std::uint32_t RegQueryValueExW(platform::HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                 std::uint32_t* data_size) override {
    return Coded("RegQueryValueExW", [&] { return port_->RegQueryValueExW(key, name, type, data, data_size); });
  }
  std::uint32_t RegSetValueExW(platform::HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t data_size) override {
    return Coded("RegSetValueExW", [&] { return port_->RegSetValueExW(key, name, type, data, data_size); });
  }
  std::uint32_t RegDeleteValueW(platform::HKEY key, const char16_t* name) override {
    return Coded("RegDeleteValueW", [&] { return port_->RegDeleteValueW(key, name); });
  }
  std::uint32_t RegEnumValueW(platform::HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                              std::uint32_t* type, void* data, std::uint32_t* data_size) override {
    return Coded("RegEnumValueW",
                 [&] { return port_->RegEnumValueW(key, index, name, name_length, type, data, data_size); });
  }
  std::uint32_t RegEnumKeyExW(platform::HKEY key, std::uint32_t index, char16_t* name,
                              std::uint32_t* name_length) override {
    return Coded("RegEnumKeyExW", [&] { return port_->RegEnumKeyExW(key, index, name, name_length); });
  }
  std::uint32_t RegQueryInfoKeyW(platform::HKEY key, std::uint32_t* sub_key_count,
                                 std::uint32_t* value_count) override {
    return Coded("RegQueryInfoKeyW", [&] { return port_->RegQueryInfoKeyW(key, sub_key_count, value_count); });
  }
  std::uint32_t RegDeleteKeyW(platform::HKEY key, const char16_t* sub_key) override {
    return Coded("RegDeleteKeyW", [&] { return port_->RegDeleteKeyW(key, sub_key); });
  }
  std::uint32_t RegDeleteTreeW(platform::HKEY key, const char16_t* sub_key) override {
    return Coded("RegDeleteTreeW", [&] { return port_->RegDeleteTreeW(key, sub_key); });
  }
  std::uint32_t RegFlushKey(platform::HKEY key) override {
    return Coded("RegFlushKey", [&] { return port_->RegFlushKey(key); });
  }
};

class FaultyFiles : public FaultyPort<platform::Files> {
 public:
  using FaultyPort::FaultyPort;

  platform::HANDLE CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                               std::uint32_t disposition, std::uint32_t flags_and_attributes) override {
    return Told("CreateFileW", platform::kInvalidHandleValue,
                [&] { return port_->CreateFileW(path, access, share_mode, disposition, flags_and_attributes); });
  }
  bool ReadFile(platform::HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read,
                platform::OVERLAPPED* overlapped) override {
    return Told("ReadFile", false, [&] { return port_->ReadFile(file, buffer, size, read, overlapped); });
  }
  bool WriteFile(platform::HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                 platform::OVERLAPPED* overlapped) override {
    return Told("WriteFile", false, [&] { return port_->WriteFile(file, buffer, size, written, overlapped); });
  }
  std::uint32_t GetFileSize(platform::HANDLE file, std::uint32_t* high) override {
    return Told("GetFileSize", platform::kInvalidFileSize, [&] { return port_->GetFileSize(file, high); });
  }
  bool GetFileSizeEx(platform::HANDLE file, std::uint64_t* size) override {
    return Told("GetFileSizeEx", false, [&] { return port_->GetFileSizeEx(file, size); });
  }
  std::uint32_t SetFilePointer(platform::HANDLE file, std::int32_t distance, std::int32_t* distance_high,
                               std::uint32_t method) override {
    return Told("SetFilePointer", ~0u, [&] { return port_->SetFilePointer(file, distance, distance_high, method); });
  }
  bool SetFilePointerEx(platform::HANDLE file, std::int64_t distance, std::int64_t* position,
                        std::uint32_t method) override {
    return Told("SetFilePointerEx", false, [&] { return port_->SetFilePointerEx(file, distance, position, method); });
  }
  bool SetEndOfFile(platform::HANDLE file) override {
    return Told("SetEndOfFile", false, [&] { return port_->SetEndOfFile(file); });
  }
  bool FlushFileBuffers(platform::HANDLE file) override {
    return Told("FlushFileBuffers", false, [&] { return port_->FlushFileBuffers(file); });
  }
  bool GetFileTime(platform::HANDLE file, platform::FILETIME* creation, platform::FILETIME* last_access,
                   platform::FILETIME* last_write) override {
    return Told("GetFileTime", false, [&] { return port_->GetFileTime(file, creation, last_access, last_write); });
  }
  bool SetFileTime(platform::HANDLE file, const platform::FILETIME* creation, const platform::FILETIME* last_access,
                   const platform::FILETIME* last_write) override {
    return Told("SetFileTime", false, [&] { return port_->SetFileTime(file, creation, last_access, last_write); });
  }
  std::uint32_t GetFileAttributesW(const char16_t* path) override {
    return Told("GetFileAttributesW", platform::kInvalidFileAttributes,
                [&] { return port_->GetFileAttributesW(path); });
  }
  bool GetFileAttributesExW(const char16_t* path, platform::WIN32_FILE_ATTRIBUTE_DATA* data) override {
    return Told("GetFileAttributesExW", false, [&] { return port_->GetFileAttributesExW(path, data); });
  }
  bool SetFileAttributesW(const char16_t* path, std::uint32_t attributes) override {
    return Told("SetFileAttributesW", false, [&] { return port_->SetFileAttributesW(path, attributes); });
  }
  bool CreateDirectoryW(const char16_t* path) override {
    return Told("CreateDirectoryW", false, [&] { return port_->CreateDirectoryW(path); });
  }
  bool RemoveDirectoryW(const char16_t* path) override {
    return Told("RemoveDirectoryW", false, [&] { return port_->RemoveDirectoryW(path); });
  }
  bool DeleteFileW(const char16_t* path) override {
    return Told("DeleteFileW", false, [&] { return port_->DeleteFileW(path); });
  }
  bool DeleteFileA(const char* path) override {
    return Told("DeleteFileA", false, [&] { return port_->DeleteFileA(path); });
  }
  bool CopyFileW(const char16_t* from, const char16_t* to, bool fail_if_exists) override {
    return Told("CopyFileW", false, [&] { return port_->CopyFileW(from, to, fail_if_exists); });
  }
  bool MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) override {
    return Told("MoveFileExW", false, [&] { return port_->MoveFileExW(from, to, flags); });
  }
  bool PathFileExistsW(const char16_t* path) override {
    return Told("PathFileExistsW", false, [&] { return port_->PathFileExistsW(path); });
  }
  bool PathFileExistsA(const char* path) override {
    return Told("PathFileExistsA", false, [&] { return port_->PathFileExistsA(path); });
  }
  std::FILE* OpenNarrow(const char* path, const char* mode) override {
    return Told("OpenNarrow", nullptr, [&] { return port_->OpenNarrow(path, mode); });
  }
  platform::HANDLE FindFirstFileW(const char16_t* pattern, platform::WIN32_FIND_DATAW* data) override {
    return Told("FindFirstFileW", platform::kInvalidHandleValue, [&] { return port_->FindFirstFileW(pattern, data); });
  }
  bool FindNextFileW(platform::HANDLE find, platform::WIN32_FIND_DATAW* data) override {
    return Told("FindNextFileW", false, [&] { return port_->FindNextFileW(find, data); });
  }
  bool FindClose(platform::HANDLE find) override {
    return Told("FindClose", false, [&] { return port_->FindClose(find); });
  }
  std::uint32_t GetTempPathW(std::uint32_t capacity, char16_t* buffer) override {
    return Told("GetTempPathW", 0, [&] { return port_->GetTempPathW(capacity, buffer); });
  }
  std::uint32_t CreateFolders(const char16_t* path) override {
    return Coded("CreateFolders", [&] { return port_->CreateFolders(path); });
  }
  std::uint32_t RemoveFolders(const char16_t* path) override {
    return Coded("RemoveFolders", [&] { return port_->RemoveFolders(path); });
  }
};

class FaultyThreads : public FaultyPort<platform::Threads> {
 public:
  using FaultyPort::FaultyPort;

  platform::HANDLE CreateThread(platform::ThreadStart start, void* parameter) override {
    return Told("CreateThread", nullptr, [&] { return port_->CreateThread(start, parameter); });
  }
  bool GetExitCodeThread(platform::HANDLE thread, std::uint32_t* exit_code) override {
    return Told("GetExitCodeThread", false, [&] { return port_->GetExitCodeThread(thread, exit_code); });
  }
  bool TerminateThread(platform::HANDLE thread, std::uint32_t exit_code) override {
    return Told("TerminateThread", false, [&] { return port_->TerminateThread(thread, exit_code); });
  }
  platform::HANDLE CreateEventW(bool manual_reset, bool initial_state) override {
    return Told("CreateEventW", nullptr, [&] { return port_->CreateEventW(manual_reset, initial_state); });
  }
  bool SetEvent(platform::HANDLE event) override {
    return Told("SetEvent", false, [&] { return port_->SetEvent(event); });
  }
  bool ResetEvent(platform::HANDLE event) override {
    return Told("ResetEvent", false, [&] { return port_->ResetEvent(event); });
  }
  std::uint32_t WaitForSingleObject(platform::HANDLE object, std::uint32_t timeout_ms) override {
    return Told("WaitForSingleObject", platform::kWaitFailed,
                [&] { return port_->WaitForSingleObject(object, timeout_ms); });
  }
  std::uint32_t WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                       std::uint32_t timeout_ms) override {
    return Told("WaitForMultipleObjects", platform::kWaitFailed,
                [&] { return port_->WaitForMultipleObjects(count, objects, wait_all, timeout_ms); });
  }
  void Sleep(std::uint32_t milliseconds) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("Sleep")) port_->Sleep(milliseconds);
  }
  bool InitializeCriticalSection() override {
    return Told("InitializeCriticalSection", false, [&] { return port_->InitializeCriticalSection(); });
  }
  bool InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                           void** context) override {
    return Told("InitOnceExecuteOnce", false,
                [&] { return port_->InitOnceExecuteOnce(once, function, parameter, context); });
  }
};

class FaultyTrace : public FaultyPort<platform::Trace> {
 public:
  using FaultyPort::FaultyPort;

  std::uint32_t StartTraceW(platform::TRACEHANDLE* session, const char16_t* name,
                            platform::EVENT_TRACE_PROPERTIES* properties) override {
    return Coded("StartTraceW", [&] { return port_->StartTraceW(session, name, properties); });
  }
  std::uint32_t ControlTraceW(platform::TRACEHANDLE session, const char16_t* name,
                              platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) override {
    return Coded("ControlTraceW", [&] { return port_->ControlTraceW(session, name, properties, control); });
  }
  std::uint32_t EnableTraceEx2(platform::TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                               std::uint8_t level, std::uint64_t match_any_keyword, std::uint64_t match_all_keyword,
                               std::uint32_t timeout_ms, const void* enable_parameters) override {
    return Coded("EnableTraceEx2", [&] {
      return port_->EnableTraceEx2(session, provider, control_code, level, match_any_keyword, match_all_keyword,
                                   timeout_ms, enable_parameters);
    });
  }
  std::uint32_t EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size, void* out,
                                      std::uint32_t out_size, std::uint32_t* needed) override {
    return Coded("EnumerateTraceGuidsEx",
                 [&] { return port_->EnumerateTraceGuidsEx(information_class, in, in_size, out, out_size, needed); });
  }
  platform::TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW* logfile) override {
    return Told("OpenTraceW", platform::kInvalidProcessTraceHandle, [&] { return port_->OpenTraceW(logfile); });
  }
  std::uint32_t ProcessTrace(const platform::TRACEHANDLE* traces, std::uint32_t count, const platform::FILETIME* start,
                             const platform::FILETIME* end) override {
    return Coded("ProcessTrace", [&] { return port_->ProcessTrace(traces, count, start, end); });
  }
  std::uint32_t CloseTrace(platform::TRACEHANDLE trace) override {
    return Coded("CloseTrace", [&] { return port_->CloseTrace(trace); });
  }
};

class FaultyTdh : public FaultyPort<platform::Tdh> {
 public:
  using FaultyPort::FaultyPort;

  std::uint32_t TdhLoadManifest(const char16_t* path) override {
    return Coded("TdhLoadManifest", [&] { return port_->TdhLoadManifest(path); });
  }
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override {
    return Coded("TdhGetEventInformation", [&] { return port_->TdhGetEventInformation(event, buffer, size); });
  }
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                   const platform::PROPERTY_DATA_DESCRIPTOR* descriptors,
                                   std::uint32_t* size) override {
    return Coded("TdhGetPropertySize",
                 [&] { return port_->TdhGetPropertySize(event, descriptor_count, descriptors, size); });
  }
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                               const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                               std::uint8_t* buffer) override {
    return Coded("TdhGetProperty",
                 [&] { return port_->TdhGetProperty(event, descriptor_count, descriptors, size, buffer); });
  }
};

class FaultyCrypto : public FaultyPort<platform::Crypto> {
 public:
  using FaultyPort::FaultyPort;

  bool CryptAcquireContextW(platform::HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t flags) override {
    return Told("CryptAcquireContextW", false,
                [&] { return port_->CryptAcquireContextW(provider, provider_type, flags); });
  }
  bool CryptCreateHash(platform::HCRYPTPROV provider, std::uint32_t algorithm, platform::HCRYPTHASH* hash) override {
    return Told("CryptCreateHash", false, [&] { return port_->CryptCreateHash(provider, algorithm, hash); });
  }
  bool CryptHashData(platform::HCRYPTHASH hash, const void* data, std::uint32_t size) override {
    return Told("CryptHashData", false, [&] { return port_->CryptHashData(hash, data, size); });
  }
  bool CryptGetHashParam(platform::HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) override {
    return Told("CryptGetHashParam", false, [&] { return port_->CryptGetHashParam(hash, parameter, data, size); });
  }
  bool CryptDestroyHash(platform::HCRYPTHASH hash) override {
    return Told("CryptDestroyHash", false, [&] { return port_->CryptDestroyHash(hash); });
  }
  bool CryptReleaseContext(platform::HCRYPTPROV provider) override {
    return Told("CryptReleaseContext", false, [&] { return port_->CryptReleaseContext(provider); });
  }
};

class FaultySystem : public FaultyPort<platform::System> {
 public:
  using FaultyPort::FaultyPort;

  bool CloseHandle(platform::HANDLE handle) override {
    return Told("CloseHandle", false, [&] { return port_->CloseHandle(handle); });
  }
  std::uint32_t GetLastError() override { return port_->GetLastError(); }
  void SetLastError(std::uint32_t error) override { port_->SetLastError(error); }
  std::uint32_t GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) override {
    return Told("GetSystemDirectoryW", 0, [&] { return port_->GetSystemDirectoryW(buffer, capacity); });
  }
  std::uint32_t ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) override {
    return Told("ExpandEnvironmentStringsW", 0,
                [&] { return port_->ExpandEnvironmentStringsW(source, buffer, capacity); });
  }
  std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) override {
    return Told("GetEnvironmentVariableW", 0, [&] { return port_->GetEnvironmentVariableW(name, buffer, capacity); });
  }
  bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value) override {
    return Told("SetEnvironmentVariableW", false, [&] { return port_->SetEnvironmentVariableW(name, value); });
  }
  std::uint32_t GetModuleFileNameW(platform::HMODULE module, char16_t* buffer, std::uint32_t capacity) override {
    return Told("GetModuleFileNameW", 0, [&] { return port_->GetModuleFileNameW(module, buffer, capacity); });
  }
  platform::HMODULE LoadLibraryW(const char16_t* path) override {
    return Told("LoadLibraryW", nullptr, [&] { return port_->LoadLibraryW(path); });
  }
  platform::Procedure GetProcAddress(platform::HMODULE module, const char* name) override {
    return Told("GetProcAddress", nullptr, [&] { return port_->GetProcAddress(module, name); });
  }
  bool FreeLibrary(platform::HMODULE module) override {
    return Told("FreeLibrary", false, [&] { return port_->FreeLibrary(module); });
  }
  std::uint32_t SetErrorMode(std::uint32_t mode) override {
    return Told("SetErrorMode", 0, [&] { return port_->SetErrorMode(mode); });
  }
  void GetSystemTimeAsFileTime(platform::FILETIME* time) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("GetSystemTimeAsFileTime")) port_->GetSystemTimeAsFileTime(time);
  }
  void GetSystemTimePreciseAsFileTime(platform::FILETIME* time) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("GetSystemTimePreciseAsFileTime")) port_->GetSystemTimePreciseAsFileTime(time);
  }
  bool FileTimeToSystemTime(const platform::FILETIME* time, platform::SYSTEMTIME* result) override {
    return Told("FileTimeToSystemTime", false, [&] { return port_->FileTimeToSystemTime(time, result); });
  }
  bool SystemTimeToFileTime(const platform::SYSTEMTIME* time, platform::FILETIME* result) override {
    return Told("SystemTimeToFileTime", false, [&] { return port_->SystemTimeToFileTime(time, result); });
  }
  bool SystemTimeToTzSpecificLocalTime(const platform::TIME_ZONE_INFORMATION* zone,
                                       const platform::SYSTEMTIME* universal, platform::SYSTEMTIME* local) override {
    return Told("SystemTimeToTzSpecificLocalTime", false,
                [&] { return port_->SystemTimeToTzSpecificLocalTime(zone, universal, local); });
  }
  void GetLocalTime(platform::SYSTEMTIME* time) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("GetLocalTime")) port_->GetLocalTime(time);
  }
  std::int32_t CoCreateGuid(GUID* guid) override {
    return Coded("CoCreateGuid", [&] { return port_->CoCreateGuid(guid); });
  }
  std::int32_t StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) override {
    return Told("StringFromGUID2", 0, [&] { return port_->StringFromGUID2(guid, buffer, capacity); });
  }
  std::uint32_t GetCurrentProcessId() override {
    return Told("GetCurrentProcessId", 0, [&] { return port_->GetCurrentProcessId(); });
  }
  std::uint32_t GetCurrentThreadId() override {
    return Told("GetCurrentThreadId", 0, [&] { return port_->GetCurrentThreadId(); });
  }
  bool OpenProcessToken(std::uint32_t access, platform::HANDLE* token) override {
    return Told("OpenProcessToken", false, [&] { return port_->OpenProcessToken(access, token); });
  }
  bool GetTokenInformation(platform::HANDLE token, std::uint32_t information_class, void* information,
                           std::uint32_t size, std::uint32_t* needed) override {
    return Told("GetTokenInformation", false,
                [&] { return port_->GetTokenInformation(token, information_class, information, size, needed); });
  }
  std::int32_t CoInitializeEx(std::uint32_t concurrency_model) override {
    return Coded("CoInitializeEx", [&] { return port_->CoInitializeEx(concurrency_model); });
  }
  void CoUninitialize() override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("CoUninitialize")) port_->CoUninitialize();
  }
  std::int32_t MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text, std::int32_t length,
                                   char16_t* buffer, std::int32_t capacity) override {
    return Told("MultiByteToWideChar", 0,
                [&] { return port_->MultiByteToWideChar(code_page, flags, text, length, buffer, capacity); });
  }
  std::int32_t WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                   std::int32_t length, char* buffer, std::int32_t capacity) override {
    return Told("WideCharToMultiByte", 0,
                [&] { return port_->WideCharToMultiByte(code_page, flags, text, length, buffer, capacity); });
  }
  void OutputDebugStringW(const char16_t* text) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("OutputDebugStringW")) port_->OutputDebugStringW(text);
  }
  void OutputDebugStringA(const char* text) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("OutputDebugStringA")) port_->OutputDebugStringA(text);
  }
  void* HeapAlloc(std::size_t size) override {
    return Told("HeapAlloc", nullptr, [&] { return port_->HeapAlloc(size); });
  }
  void HeapFree(void* block) override {
    const PortCallScope under_way(plan_);
    if (!plan_->Called("HeapFree")) port_->HeapFree(block);
  }
  std::uint32_t GuardedCall(platform::GuardedFunction function, void* parameter) override {
    return Coded("GuardedCall", [&] { return port_->GuardedCall(function, parameter); });
  }
  std::uint32_t RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                                    std::uint32_t in_size, std::uint32_t* final_size) override {
    return Coded("RtlDecompressBuffer",
                 [&] { return port_->RtlDecompressBuffer(format, out, out_size, in, in_size, final_size); });
  }
  bool DisableThreadLibraryCalls(platform::HMODULE module) override {
    return Told("DisableThreadLibraryCalls", false, [&] { return port_->DisableThreadLibraryCalls(module); });
  }
};

class FaultyEventLog : public FaultyPort<platform::EventLog> {
 public:
  using FaultyPort::FaultyPort;

  platform::EVT_HANDLE EvtQuery(platform::EVT_HANDLE session, const char16_t* path, const char16_t* query,
                                std::uint32_t flags) override {
    return Told("EvtQuery", nullptr, [&] { return port_->EvtQuery(session, path, query, flags); });
  }
  bool EvtNext(platform::EVT_HANDLE result_set, std::uint32_t count, platform::EVT_HANDLE* events,
               std::uint32_t timeout_ms, std::uint32_t flags, std::uint32_t* returned) override {
    return Told("EvtNext", false,
                [&] { return port_->EvtNext(result_set, count, events, timeout_ms, flags, returned); });
  }
  bool EvtRender(platform::EVT_HANDLE context, platform::EVT_HANDLE event, std::uint32_t flags,
                 std::uint32_t buffer_size, void* buffer, std::uint32_t* used, std::uint32_t* property_count) override {
    return Told("EvtRender", false,
                [&] { return port_->EvtRender(context, event, flags, buffer_size, buffer, used, property_count); });
  }
  bool EvtClose(platform::EVT_HANDLE object) override {
    return Told("EvtClose", false, [&] { return port_->EvtClose(object); });
  }
};

/// All ports of a platform decorated with one plan, in force for its scope.
class FaultyPlatform {
 public:
  FaultyPlatform(const platform::Platform& below, FaultPlan* plan)
      : registry_(below.registry, plan),
        files_(below.files, plan),
        threads_(below.threads, plan),
        trace_(below.trace, plan),
        tdh_(below.tdh, plan),
        crypto_(below.crypto, plan),
        system_(below.system, plan),
        event_log_(below.event_log, plan) {}
  FaultyPlatform(const FaultyPlatform&) = delete;
  FaultyPlatform& operator=(const FaultyPlatform&) = delete;

 private:
  FaultyRegistry registry_;
  FaultyFiles files_;
  FaultyThreads threads_;
  FaultyTrace trace_;
  FaultyTdh tdh_;
  FaultyCrypto crypto_;
  FaultySystem system_;
  FaultyEventLog event_log_;
  platform::Platform ports_{&registry_, &files_, &threads_, &trace_, &tdh_, &crypto_, &system_, &event_log_};
  platform::ScopedPlatform in_force_{&ports_};
};

}  // namespace varnel::testing
