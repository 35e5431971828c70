// The threads port on real threads and virtual time: Sleep and finite waits take none.
#pragma once

#include <memory>
#include <mutex>

#include "platform/threads.h"
#include "tests/support/fake_handles.h"
#include "tests/support/virtual_time.h"

namespace varnel::testing {

/// Borrows both. Destroyed when all of its threads have ended (it waits for them for ten real seconds and then ends the
/// process with a message) or were ended by TerminateThread; such a thread stays blocked for the life of the process.
class FakeThreads : public platform::Threads {
 public:
  FakeThreads(FakeHandles* handles, VirtualTime* time);
  ~FakeThreads() override;

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
  bool InitializeCriticalSection() override { return true; }
  bool InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                           void** context) override;

  /// Threads that were made and have not ended.
  std::size_t running_count() const;
  /// How many threads were made.
  std::size_t created_count() const;

 private:
  struct Waitable;
  struct Event;
  struct Thread;
  struct Census;
  struct Roster;

  /// Comes back only on a thread that was not ended.
  void LeaveIfTerminated();

  FakeHandles* handles_;
  VirtualTime* time_;
  std::shared_ptr<Census> census_;
  std::unique_ptr<Roster> roster_;
  std::mutex once_mutex_;
};

}  // namespace varnel::testing
