#include "tests/support/fake_threads.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/last_error.h"

namespace varnel::testing {
namespace {

using platform::HANDLE;

constexpr std::uint32_t kMostObjects = 64;
constexpr std::uint64_t kMostPatience = 1000;  // virtual milliseconds

bool HoldsOneTwice(std::uint32_t count, const HANDLE* objects) {
  return std::set<HANDLE>(objects, objects + count).size() < count;
}

std::optional<std::uint64_t> Timeout(std::uint32_t timeout_ms) {
  if (timeout_ms == platform::kInfinite) return std::nullopt;
  return timeout_ms;
}

}  // namespace

// All fields below are read and written under the virtual time's lock.
struct FakeThreads::Waitable : FakeObject {
  virtual bool Signalled() const = 0;
  virtual void Take() {}
};

struct FakeThreads::Event : Waitable {
  Event(bool manual, bool state) : manual_reset(manual), signalled(state) {}
  bool Signalled() const override { return signalled; }
  void Take() override {
    if (!manual_reset) signalled = false;
  }
  const bool manual_reset;
  bool signalled;
};

struct FakeThreads::Thread : Waitable {
  bool Signalled() const override { return ended; }
  bool ended = false;
  bool terminated = false;
  bool left = false;     // runs nothing of its start function any more
  bool returns = false;  // has come to its end, and not to a stand for ever
  std::uint32_t exit_code = platform::kStillActive;
};

/// Who is alive; shared with the threads, which may outlive the port.
struct FakeThreads::Census {
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t running = 0;
  std::size_t created = 0;

  void Ended() {
    const std::lock_guard lock(mutex);
    --running;
    changed.notify_all();
  }
};

/// The real threads, to be joined. None is detached: mingw's detach can give a thread's record away twice when the
/// thread ends at that moment, and a later thread then starts without its function.
struct FakeThreads::Roster {
  std::mutex mutex;
  std::vector<std::pair<std::shared_ptr<Thread>, std::thread>> threads;

  void Add(std::shared_ptr<Thread> record, std::thread thread) {
    const std::lock_guard lock(mutex);
    threads.emplace_back(std::move(record), std::move(thread));
  }
};

namespace {

/// Keeps a thread that blocks for the life of the process.
void KeepForEver(std::thread thread) {
  static std::mutex mutex;
  static auto* const kept = new std::vector<std::thread>;
  const std::lock_guard lock(mutex);
  kept->push_back(std::move(thread));
}

/// The calling thread's own record, if it was made through the port.
thread_local void* g_self = nullptr;

}  // namespace

FakeThreads::FakeThreads(FakeHandles* handles, VirtualTime* time)
    : handles_(handles), time_(time), census_(std::make_shared<Census>()), roster_(std::make_unique<Roster>()) {}

FakeThreads::~FakeThreads() {
  time_->Settle();
  std::unique_lock lock(census_->mutex);
  if (!census_->changed.wait_for(lock, std::chrono::seconds(10), [this] { return census_->running == 0; })) {
    std::fprintf(stderr, "FakeThreads: %zu threads still run at the end of their ports\n", census_->running);
    std::abort();
  }
  lock.unlock();
  for (auto& [record, thread] : roster_->threads) {
    bool returns = false;
    time_->Change([&, of = record.get()] { returns = of->returns; });
    if (returns) {
      thread.join();
    } else {
      KeepForEver(std::move(thread));
    }
  }
}

HANDLE FakeThreads::CreateThread(platform::ThreadStart start, void* parameter) {
  auto thread = std::make_shared<Thread>();
  {
    const std::lock_guard lock(census_->mutex);
    ++census_->running;
    ++census_->created;
  }
  const std::uint64_t turn = time_->Enter();
  std::thread real([this, thread, start, parameter, turn, census = census_] {
    time_->BeginThread(turn);
    g_self = thread.get();
    LeaveIfTerminated();
    const std::uint32_t code = start(parameter);
    bool terminated = false;
    time_->Change([&] {
      terminated = thread->terminated;
      thread->left = true;
      thread->returns = true;
      if (terminated) return;
      thread->ended = true;
      thread->exit_code = code;
    });
    time_->Leave();
    if (!terminated) census->Ended();
  });
  roster_->Add(thread, std::move(real));
  return handles_->Add(std::move(thread));
}

bool FakeThreads::GetExitCodeThread(HANDLE handle, std::uint32_t* exit_code) {
  const auto thread = handles_->Get<Thread>(handle);
  if (thread == nullptr) return FailWith(platform::kErrorInvalidHandle);
  time_->Change([&] { *exit_code = thread->exit_code; });
  return true;
}

bool FakeThreads::TerminateThread(HANDLE handle, std::uint32_t exit_code) {
  const auto thread = handles_->Get<Thread>(handle);
  if (thread == nullptr) return FailWith(platform::kErrorInvalidHandle);
  bool first = false;
  time_->Change([&] {
    if (thread->ended) return;
    first = true;
    thread->ended = thread->terminated = true;
    thread->exit_code = exit_code;
  });
  if (!first) return true;
  census_->Ended();
  // What the thread was using may be gone when this returns, so it waits for the thread to stand still. One that
  // computes without ever coming to a wait is given up.
  if (thread.get() != g_self) time_->Block([&] { return thread->left; }, kMostPatience);
  LeaveIfTerminated();
  return true;
}

void FakeThreads::LeaveIfTerminated() {
  auto* const self = static_cast<Thread*>(g_self);
  if (self == nullptr) return;
  bool terminated = false;
  time_->Change([&] {
    terminated = self->terminated;
    self->left |= terminated;
  });
  if (terminated) time_->BlockForEver();
}

HANDLE FakeThreads::CreateEventW(bool manual_reset, bool initial_state) {
  return handles_->Add(std::make_shared<Event>(manual_reset, initial_state));
}

bool FakeThreads::SetEvent(HANDLE handle) {
  const auto event = handles_->Get<Event>(handle);
  if (event == nullptr) return FailWith(platform::kErrorInvalidHandle);
  time_->Change([&] { event->signalled = true; });
  return true;
}

bool FakeThreads::ResetEvent(HANDLE handle) {
  const auto event = handles_->Get<Event>(handle);
  if (event == nullptr) return FailWith(platform::kErrorInvalidHandle);
  time_->Change([&] { event->signalled = false; });
  return true;
}

std::uint32_t FakeThreads::WaitForSingleObject(HANDLE object, std::uint32_t timeout_ms) {
  return WaitForMultipleObjects(1, &object, false, timeout_ms);
}

std::uint32_t FakeThreads::WaitForMultipleObjects(std::uint32_t count, const HANDLE* objects, bool wait_all,
                                                  std::uint32_t timeout_ms) {
  std::vector<std::shared_ptr<Waitable>> waitables;
  if (count == 0 || count > kMostObjects || (wait_all && HoldsOneTwice(count, objects))) {
    FailWith(platform::kErrorInvalidParameter);
    return platform::kWaitFailed;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    waitables.push_back(handles_->Get<Waitable>(objects[i]));
    if (waitables.back() == nullptr) {
      FailWith(platform::kErrorInvalidHandle);
      return platform::kWaitFailed;
    }
  }
  const auto* const self = static_cast<const Thread*>(g_self);
  std::uint32_t index = 0;
  const auto ready = [&] {
    if (self != nullptr && self->terminated) return true;
    std::uint32_t signalled = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (!waitables[i]->Signalled()) continue;
      if (!wait_all) {
        index = i;
        waitables[i]->Take();
        return true;
      }
      ++signalled;
    }
    if (!wait_all || signalled < count) return false;
    for (const auto& waitable : waitables) waitable->Take();
    return true;
  };
  const bool was_ready = time_->Block(ready, Timeout(timeout_ms));
  LeaveIfTerminated();
  return was_ready ? platform::kWaitObject0 + index : platform::kWaitTimeout;
}

void FakeThreads::Sleep(std::uint32_t milliseconds) {
  const auto* const self = static_cast<const Thread*>(g_self);
  time_->Block([&] { return self != nullptr && self->terminated; }, Timeout(milliseconds));
  LeaveIfTerminated();
}

bool FakeThreads::InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function, void* parameter,
                                      void** context) {
  const std::lock_guard lock(once_mutex_);
  if (once->state == nullptr) {
    if (!function(parameter, &once->context)) return FailWith(platform::kErrorGenFailure);
    once->state = once;
  }
  if (context != nullptr) *context = once->context;
  return true;
}

std::size_t FakeThreads::running_count() const {
  const std::lock_guard lock(census_->mutex);
  return census_->running;
}

std::size_t FakeThreads::created_count() const {
  const std::lock_guard lock(census_->mutex);
  return census_->created;
}

}  // namespace varnel::testing
