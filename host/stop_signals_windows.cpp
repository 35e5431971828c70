#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <atomic>

#include "host/console_windows.h"
#include "host/stop_signals.h"

namespace varnel::host {
namespace {

std::atomic<HANDLE> g_wish{nullptr};
std::atomic<int> g_signals{0};

// Runs on a thread that the console makes for it.
BOOL WINAPI OnControl(DWORD control) {
  constexpr UINT kControlCExit = 0xC000013A;
  if (g_signals.fetch_add(1) > 0) {
    RestoreConsole();
    ::TerminateProcess(::GetCurrentProcess(), kControlCExit);
  }
  ::SetEvent(g_wish.load());
  // A console that is closed, a user that leaves and a system that goes down end the process as soon as this returns;
  // until then the system grants it some seconds.
  if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) ::Sleep(INFINITE);
  return TRUE;
}

}  // namespace

StopSignals::StopSignals() {
  g_wish = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  g_signals = 0;
  ::SetConsoleCtrlHandler(&OnControl, TRUE);
}

StopSignals::~StopSignals() {
  ::SetConsoleCtrlHandler(&OnControl, FALSE);
  ::CloseHandle(g_wish.exchange(nullptr));
}

bool StopSignals::WaitFor(std::chrono::milliseconds time) const {
  const auto wait = static_cast<DWORD>(std::clamp<long long>(time.count(), 0, INFINITE - 1));
  return ::WaitForSingleObject(g_wish.load(), wait) == WAIT_OBJECT_0;
}

}  // namespace varnel::host
