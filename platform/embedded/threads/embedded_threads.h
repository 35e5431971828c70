// The threads port on the system's own threads. Stateless: objects stand in the process's handle table.
#pragma once

#include "platform/threads.h"

namespace varnel::embedded {

class EmbeddedThreads : public platform::Threads {
 public:
  platform::HANDLE CreateThread(platform::ThreadStart start, void* parameter) override;
  bool GetExitCodeThread(platform::HANDLE thread, std::uint32_t* exit_code) override;
  bool TerminateThread(platform::HANDLE thread, std::uint32_t exit_code) override;
  platform::HANDLE CreateEventW(bool manual_reset, bool initial_state) override;
  bool SetEvent(platform::HANDLE event) override;
  bool ResetEvent(platform::HANDLE event) override;
  std::uint32_t WaitForSingleObject(platform::HANDLE object, std::uint32_t timeout_ms) override;
  std::uint32_t WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                       std::uint32_t timeout_ms) override;
  void Sleep(std::uint32_t milliseconds) override;
  bool InitializeCriticalSection() override;
  bool InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                           void** context) override;
};

}  // namespace varnel::embedded
