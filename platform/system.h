// The system port: what belongs to no other group. Calls that fail set the thread's last error. Any thread may call.
#pragma once

#include "platform/types.h"

namespace varnel::platform {

inline constexpr std::uint32_t kCpAcp = 0;
inline constexpr std::uint32_t kCpUtf8 = 65001;

// Access to a token, and what is asked of one.
inline constexpr std::uint32_t kTokenQuery = 8;       // TOKEN_QUERY
inline constexpr std::uint32_t kTokenElevation = 20;  // TokenElevation: 32 bits, not 0 when elevated

using Procedure = void (*)();
using TimeFunction = void (*)(FILETIME* time);
using GuardedFunction = void (*)(void* parameter);

class System {
 public:
  virtual ~System() = default;

  /// Closes any kind of handle but registry keys and finds (false and 6 for those, and for what is no open handle).
  virtual bool CloseHandle(HANDLE handle) = 0;
  virtual std::uint32_t GetLastError() = 0;
  virtual void SetLastError(std::uint32_t error) = 0;

  /// Characters without the NUL, the number needed with it when the room is too small, 0 on failure.
  virtual std::uint32_t GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) = 0;
  /// The number of characters with the NUL, also when the room is too small; 0 on failure.
  virtual std::uint32_t ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) = 0;
  virtual std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) = 0;
  virtual bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value) = 0;

  /// A null module is the host program.
  virtual std::uint32_t GetModuleFileNameW(HMODULE module, char16_t* buffer, std::uint32_t capacity) = 0;
  virtual HMODULE LoadLibraryW(const char16_t* path) = 0;
  virtual Procedure GetProcAddress(HMODULE module, const char* name) = 0;
  virtual bool FreeLibrary(HMODULE module) = 0;
  virtual std::uint32_t SetErrorMode(std::uint32_t mode) = 0;

  virtual void GetSystemTimeAsFileTime(FILETIME* time) = 0;
  /// The same clock in its finest resolution.
  virtual void GetSystemTimePreciseAsFileTime(FILETIME* time) = 0;
  /// False for a time above 0x7FFFFFFFFFFFFFFF.
  virtual bool FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* result) = 0;
  virtual bool SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* result) = 0;
  /// A null zone is the machine's own.
  virtual bool SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                               SYSTEMTIME* local) = 0;

  /// The present time in the machine's own zone.
  virtual void GetLocalTime(SYSTEMTIME* time) = 0;

  /// 0, or a negative HRESULT.
  virtual std::int32_t CoCreateGuid(GUID* guid) = 0;
  /// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case; characters with the NUL (39), 0 when it does not fit.
  virtual std::int32_t StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) = 0;
  virtual std::uint32_t GetCurrentProcessId() = 0;
  virtual std::uint32_t GetCurrentThreadId() = 0;
  /// The token of this process; the caller closes it with CloseHandle.
  virtual bool OpenProcessToken(std::uint32_t access, HANDLE* token) = 0;
  /// `needed` in bytes; 122 when `size` is less than that, 87 for a class that is not known.
  virtual bool GetTokenInformation(HANDLE token, std::uint32_t information_class, void* information, std::uint32_t size,
                                   std::uint32_t* needed) = 0;
  /// COM start-up for the calling thread; an HRESULT.
  virtual std::int32_t CoInitializeEx(std::uint32_t concurrency_model) = 0;
  virtual void CoUninitialize() = 0;

  /// Lengths in characters, -1 for NUL-terminated text (the NUL is then converted and counted too). With a capacity of
  /// 0 the number needed; 0 on failure (122: no room, 1113: bad text with flags 8).
  virtual std::int32_t MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text,
                                           std::int32_t length, char16_t* buffer, std::int32_t capacity) = 0;
  virtual std::int32_t WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                           std::int32_t length, char* buffer, std::int32_t capacity) = 0;

  virtual void OutputDebugStringW(const char16_t* text) = 0;
  virtual void OutputDebugStringA(const char* text) = 0;

  /// A block of the process heap, not cleared; null when memory runs out. HeapFree takes null.
  virtual void* HeapAlloc(std::size_t size) = 0;
  virtual void HeapFree(void* block) = 0;

  /// Runs `function`. 0, or the exception's code when it raised one (0xC0000005 for an access violation, 0xC0000094 for
  /// a division by zero, 0xE06D7363 for a C++ exception); the thread then goes on behind the call, without the frames
  /// of what was cut short being unwound.
  virtual std::uint32_t GuardedCall(GuardedFunction function, void* parameter) = 0;

  /// Unpacks one block. 0, or an NTSTATUS. `format`: 2 LZNT1, 3 XPRESS, 4 XPRESS with Huffman coding.
  virtual std::uint32_t RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                                            std::uint32_t in_size, std::uint32_t* final_size) = 0;

  /// Blocks the library calls of one loaded instance from thread notifications; answers only.
  virtual bool DisableThreadLibraryCalls(HMODULE module) = 0;
};

}  // namespace varnel::platform
