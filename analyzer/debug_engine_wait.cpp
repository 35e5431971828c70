// The engine's wait on a thread that can be abandoned, and the stop that ends it.
#include "analyzer/debug_engine_session.h"
#include "analyzer/wait_for_event_worker.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint32_t kThreadEndMs = 5000;  // for a thread that is done, or was ended
constexpr std::uint32_t kAbandonedExitCode = 1;

/// Whether the thread's exit code can be read, and says that it is still running.
bool ReadsAsActive(platform::HANDLE thread) {
  std::uint32_t exitCode = 0;
  return platform::ThreadsPort().GetExitCodeThread(thread, &exitCode) && exitCode == platform::kStillActive;
}

void EndThread(platform::HANDLE thread) {
  if (!ReadsAsActive(thread)) return;
  if (!platform::ThreadsPort().TerminateThread(thread, kAbandonedExitCode)) {
    WrapLogPrint(LOG_ERROR, u"[Error] TerminateThread failed: 0x%08X\n", platform::SystemPort().GetLastError());
  }
}

/// Waits for the thread's answer and puts an end to a thread that gives none.
std::int32_t AwaitAnswer(platform::HANDLE thread, const WaitForEventParam* param, std::uint32_t limitMs) {
  platform::Threads& threads = platform::ThreadsPort();
  const std::uint32_t waited = threads.WaitForSingleObject(param->doneEvent, limitMs);
  if (waited == platform::kWaitObject0) {
    std::uint32_t exitCode = 0;
    const bool stopped = threads.GetExitCodeThread(thread, &exitCode) && exitCode == platform::kErrorCancelled;
    return stopped ? kHresultCancelled : param->result;
  }
  if (waited == platform::kWaitTimeout) {
    EndThread(thread);
    return kHresultTimeout;
  }
  const std::uint32_t error = platform::SystemPort().GetLastError();
  WrapLogPrint(LOG_ERROR, u"[Error] WaitForSingleObject failed: 0x%08X\n", error);
  EndThread(thread);
  return HresultOf(error);
}

/// Whether the thread runs no more.
bool AwaitEnd(platform::HANDLE thread) {
  const std::uint32_t waited = platform::ThreadsPort().WaitForSingleObject(thread, kThreadEndMs);
  if (waited == platform::kWaitObject0) return true;
  if (waited != platform::kWaitTimeout) {
    WrapLogPrint(LOG_ERROR, u"[Error] WaitForSingleObject failed: 0x%08X\n", platform::SystemPort().GetLastError());
  }
  return !ReadsAsActive(thread);
}

}  // namespace

std::int32_t DebugEngineSession::RunWaitForEvent(std::uint32_t engineTimeoutMs, std::uint32_t hostWaitMs) {
  platform::System& system = platform::SystemPort();
  platform::Threads& threads = platform::ThreadsPort();
  {
    const CriticalSectionLock held(lock);
    if (stopRequested) return kHresultCancelled;
  }
  if (control == nullptr) return kHresultPointer;
  auto* const param = static_cast<WaitForEventParam*>(system.HeapAlloc(sizeof(WaitForEventParam)));
  if (param == nullptr) return kHresultOutOfMemory;
  *param = {control, engineTimeoutMs, threads.CreateEventW(true, false), kHresultFail};
  const platform::HANDLE event = param->doneEvent;
  if (event == nullptr) {
    const std::uint32_t error = system.GetLastError();
    system.HeapFree(param);
    return HresultOf(error);
  }
  const platform::HANDLE thread = threads.CreateThread(&WaitForEventWorker, param);
  if (thread == nullptr) {
    const std::uint32_t error = system.GetLastError();
    system.CloseHandle(event);
    system.HeapFree(param);
    return HresultOf(error);
  }
  PublishWait(thread, event);
  const std::int32_t outcome = AwaitAnswer(thread, param, WaitLimit(engineTimeoutMs, hostWaitMs));
  const bool finished = AwaitEnd(thread);
  WithdrawWait(thread, finished ? event : nullptr);
  if (finished) {
    system.HeapFree(param);
  } else {
    VARNEL_INTENDED_LEAK(param);  // the thread may still come back from the engine and write there
  }
  return outcome;
}

void DebugEngineSession::PublishWait(platform::HANDLE thread, platform::HANDLE event) {
  platform::HANDLE previousThread = nullptr;
  platform::HANDLE previousEvent = nullptr;
  {
    const CriticalSectionLock held(lock);
    previousThread = waitThread;
    previousEvent = waitEvent;
    waitThread = thread;
    waitEvent = event;
  }
  if (previousThread != nullptr) platform::SystemPort().CloseHandle(previousThread);
  if (previousEvent != nullptr) platform::SystemPort().CloseHandle(previousEvent);
}

// Closes and withdraws under one hold of the lock: a stop finds the handles open or finds none, and can never end a
// thread that was given the number of a closed one.
void DebugEngineSession::WithdrawWait(platform::HANDLE thread, platform::HANDLE doneEvent) {
  platform::System& system = platform::SystemPort();
  const CriticalSectionLock held(lock);
  system.CloseHandle(thread);
  if (doneEvent != nullptr) {
    system.CloseHandle(doneEvent);
    waitEvent = nullptr;
  }
  waitThread = nullptr;
}

std::int32_t DebugEngineSession::StopSymbolDownload() {
  const CriticalSectionLock held(lock);
  stopRequested = true;
  if (waitThread == nullptr || !ReadsAsActive(waitThread)) return kHresultOk;
  if (!platform::ThreadsPort().TerminateThread(waitThread, platform::kErrorCancelled)) {
    const std::uint32_t error = platform::SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] TerminateThread failed: 0x%08X\n", error);
    return HresultOf(error);
  }
  if (waitEvent != nullptr) platform::ThreadsPort().SetEvent(waitEvent);
  return kHresultOk;
}

}  // namespace varnel
