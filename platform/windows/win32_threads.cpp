#include "platform/windows/win32_threads.h"

#include "platform/windows/border.h"

namespace varnel::windows {
namespace {

struct OnceCall {
  platform::InitOnceFunction function;
  void* parameter;
};

BOOL CALLBACK RunOnce(PINIT_ONCE /*once*/, void* parameter, void** context) {
  const auto* call = static_cast<const OnceCall*>(parameter);
  return call->function(call->parameter, context) ? TRUE : FALSE;
}

}  // namespace

platform::HANDLE Win32Threads::CreateThread(platform::ThreadStart start, void* parameter) {
  return ::CreateThread(nullptr, 0, AsFunction<LPTHREAD_START_ROUTINE>(start), parameter, 0, nullptr);
}

bool Win32Threads::GetExitCodeThread(HANDLE thread, std::uint32_t* exit_code) {
  return ::GetExitCodeThread(thread, Across<DWORD>(exit_code)) != 0;
}

bool Win32Threads::TerminateThread(HANDLE thread, std::uint32_t exit_code) {
  return ::TerminateThread(thread, exit_code) != 0;
}

platform::HANDLE Win32Threads::CreateEventW(bool manual_reset, bool initial_state) {
  return ::CreateEventW(nullptr, manual_reset ? TRUE : FALSE, initial_state ? TRUE : FALSE, nullptr);
}

bool Win32Threads::SetEvent(HANDLE event) {
  return ::SetEvent(event) != 0;
}

bool Win32Threads::ResetEvent(HANDLE event) {
  return ::ResetEvent(event) != 0;
}

std::uint32_t Win32Threads::WaitForSingleObject(HANDLE object, std::uint32_t timeout_ms) {
  return ::WaitForSingleObject(object, timeout_ms);
}

std::uint32_t Win32Threads::WaitForMultipleObjects(std::uint32_t count, const HANDLE* objects, bool wait_all,
                                                   std::uint32_t timeout_ms) {
  return ::WaitForMultipleObjects(count, objects, wait_all ? TRUE : FALSE, timeout_ms);
}

void Win32Threads::Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

bool Win32Threads::InitializeCriticalSection() {
  // The system's own call raises where it fails, which it has not done since it stopped allocating.
  return true;
}

bool Win32Threads::InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                                       void** context) {
  OnceCall call{function, parameter};
  return ::InitOnceExecuteOnce(Across<INIT_ONCE>(&once->state), &RunOnce, &call, context) != 0;
}

}  // namespace varnel::windows
