// The threads port: threads, events, waits, sleep. Any thread may call. Handles are closed with System::CloseHandle.
#pragma once

#include "platform/types.h"

namespace varnel::platform {

using ThreadStart = std::uint32_t (*)(void* parameter);
using InitOnceFunction = bool (*)(void* parameter, void** context);

/// A place for InitOnceExecuteOnce, zeroed before its first use.
struct InitOnce {
  void* state = nullptr;
  void* context = nullptr;
};

inline constexpr std::uint32_t kInfinite = ~0u;
inline constexpr std::uint32_t kWaitObject0 = 0;
inline constexpr std::uint32_t kWaitFailed = ~0u;
inline constexpr std::uint32_t kStillActive = 259;

class Threads {
 public:
  virtual ~Threads() = default;

  /// Default stack, no flags. Null on failure (last error set).
  virtual HANDLE CreateThread(ThreadStart start, void* parameter) = 0;
  virtual bool GetExitCodeThread(HANDLE thread, std::uint32_t* exit_code) = 0;
  virtual bool TerminateThread(HANDLE thread, std::uint32_t exit_code) = 0;

  /// Unnamed. Null on failure (last error set). An auto-reset event lets one wait through for each signal and is clear
  /// again; a manual-reset event stays signalled until ResetEvent.
  virtual HANDLE CreateEventW(bool manual_reset, bool initial_state) = 0;
  virtual bool SetEvent(HANDLE event) = 0;
  virtual bool ResetEvent(HANDLE event) = 0;

  /// 0, 258 (time over) or kWaitFailed at once for a null, invalid or closed handle (last error 6). Waits on events and
  /// threads; milliseconds.
  virtual std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t timeout_ms) = 0;
  /// Index of the first signalled object, 258, or kWaitFailed. Up to 64 objects; `wait_all` waits for all of them.
  virtual std::uint32_t WaitForMultipleObjects(std::uint32_t count, const HANDLE* objects, bool wait_all,
                                               std::uint32_t timeout_ms) = 0;
  virtual void Sleep(std::uint32_t milliseconds) = 0;

  // These only answer: the locks themselves are the standard library's, but their failures have told outcomes.
  virtual bool InitializeCriticalSection() = 0;
  virtual bool InitOnceExecuteOnce(InitOnce* once, InitOnceFunction function, void* parameter, void** context) = 0;
};

}  // namespace varnel::platform
