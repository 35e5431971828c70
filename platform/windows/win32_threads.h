// The threads port by the system's threads and events.
#pragma once

#include "platform/threads.h"

namespace varnel::windows {

class Win32Threads final : public platform::Threads {
 public:
  using HANDLE = platform::HANDLE;

  HANDLE CreateThread(platform::ThreadStart start, void* parameter) override;
  bool GetExitCodeThread(HANDLE thread, std::uint32_t* exit_code) override;
  bool TerminateThread(HANDLE thread, std::uint32_t exit_code) override;
  HANDLE CreateEventW(bool manual_reset, bool initial_state) override;
  bool SetEvent(HANDLE event) override;
  bool ResetEvent(HANDLE event) override;
  std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t timeout_ms) override;
  std::uint32_t WaitForMultipleObjects(std::uint32_t count, const HANDLE* objects, bool wait_all,
                                       std::uint32_t timeout_ms) override;
  void Sleep(std::uint32_t milliseconds) override;
  bool InitializeCriticalSection() override;
  bool InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                           void** context) override;
};

}  // namespace varnel::windows
