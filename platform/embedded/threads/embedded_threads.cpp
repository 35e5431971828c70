#include "platform/embedded/threads/embedded_threads.h"

#include <sched.h>
#include <time.h>

#include <array>
#include <chrono>
#include <mutex>
#include <new>

#include "platform/embedded/threads/thread_object.h"

namespace varnel::embedded {
namespace {

using platform::HANDLE;
using Kind = Object::Kind;

std::shared_ptr<Waitable> FindWaitable(HANDLE handle) {
  auto object = Handles().Find(handle);
  if (!object || (object->kind() != Kind::kEvent && object->kind() != Kind::kThread)) return nullptr;
  return std::static_pointer_cast<Waitable>(std::move(object));
}

std::uint32_t WaitFails(std::uint32_t error) {
  SetLastError(error);
  return platform::kWaitFailed;
}

std::uint32_t WaitForOne(HANDLE handle, std::uint32_t timeout_ms) {
  const auto object = FindWaitable(handle);
  if (!object) return WaitFails(platform::kErrorInvalidHandle);
  if (ThreadObject::CurrentWasEnded()) return Waiter::kInterrupted;
  if (object->TryTake()) return platform::kWaitObject0;
  if (timeout_ms == 0) return platform::kWaitTimeout;
  Waitable* const one = object.get();
  return ThreadObject::Wait({&one, 1}, false, timeout_ms);
}

/// The objects behind handles, kept alive for as long as a wait lasts.
class WaitSet {
 public:
  /// 0, or the Win32 error that the wait answers with.
  std::uint32_t Fill(std::uint32_t count, const HANDLE* handles, bool wait_all) {
    if (count == 0 || count > Waiter::kMost || handles == nullptr) return platform::kErrorInvalidParameter;
    for (count_ = 0; count_ < count; ++count_) {
      owners_[count_] = FindWaitable(handles[count_]);
      objects_[count_] = owners_[count_].get();
      if (objects_[count_] == nullptr) return platform::kErrorInvalidHandle;
      if (wait_all && Holds(objects_[count_])) return platform::kErrorInvalidParameter;
    }
    return platform::kErrorSuccess;
  }

  std::span<Waitable* const> objects() const { return {objects_.data(), count_}; }

 private:
  bool Holds(const Waitable* object) const {
    for (std::size_t i = 0; i < count_; ++i) {
      if (objects_[i] == object) return true;
    }
    return false;
  }

  std::array<std::shared_ptr<Waitable>, Waiter::kMost> owners_;
  std::array<Waitable*, Waiter::kMost> objects_;
  std::size_t count_ = 0;
};

constexpr int kLooksAtOnce = 200;  // five to ten microseconds on current processors
constexpr int kNaps = 8;           // each some 70 us with the system's usual slack
constexpr timespec kNap{0, 20'000};
constexpr std::chrono::milliseconds kNear{1};

void PauseBriefly() noexcept {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

/// The index of the first object that can be taken now, `Waiter::kMost` when there is none.
std::uint32_t TryTakeOne(std::span<Waitable* const> objects) {
  for (std::uint32_t i = 0; i < objects.size(); ++i) {
    if (objects[i]->TryTake()) return i;
  }
  return Waiter::kMost;
}

// A queue's consumer is mostly faster than what fills the queue, and its next signal a few microseconds away. Waiting
// beside the lock for so long spares both sides a system call for each event: first by looking, then in short naps, in
// which the queue grows and whoever signals has nobody to wake. Until it blocks, the thread is to others like one that
// has not come to its wait yet.
std::uint32_t WaitBesideLock(std::span<Waitable* const> objects) {
  for (int nap = 0;; ++nap) {
    for (int look = 0; look < kLooksAtOnce; ++look) {
      if (const std::uint32_t taken = TryTakeOne(objects); taken != Waiter::kMost) return taken;
      PauseBriefly();
    }
    if (ThreadObject::CurrentWasEnded()) return Waiter::kInterrupted;
    if (nap == kNaps) return Waiter::kMost;
    ::nanosleep(&kNap, nullptr);
  }
}

std::uint32_t WaitForSeveral(std::uint32_t count, const HANDLE* handles, bool wait_all, std::uint32_t timeout_ms) {
  // Whether this thread's signals came one soon after the other of late: a thread whose next signal is far does not
  // nap.
  thread_local bool signals_are_near = true;
  WaitSet set;
  if (const std::uint32_t error = set.Fill(count, handles, wait_all); error != 0) return WaitFails(error);
  if (ThreadObject::CurrentWasEnded()) return Waiter::kInterrupted;
  if (!wait_all) {
    const bool nap = signals_are_near && timeout_ms == platform::kInfinite;
    const std::uint32_t taken = nap ? WaitBesideLock(set.objects()) : TryTakeOne(set.objects());
    if (taken != Waiter::kMost) return taken;
  }
  const auto begin = std::chrono::steady_clock::now();
  const std::uint32_t result = ThreadObject::Wait(set.objects(), wait_all, timeout_ms);
  signals_are_near = std::chrono::steady_clock::now() - begin < kNear;
  return result;
}

std::uint32_t SleepFor(std::uint32_t milliseconds) {
  if (ThreadObject::CurrentWasEnded()) return Waiter::kInterrupted;
  if (milliseconds != 0) return ThreadObject::Wait({}, false, milliseconds);
  ::sched_yield();
  return platform::kWaitTimeout;
}

}  // namespace

HANDLE EmbeddedThreads::CreateThread(platform::ThreadStart start, void* parameter) {
  if (start == nullptr) {
    SetLastError(platform::kErrorInvalidParameter);
    return nullptr;
  }
  const std::shared_ptr<ThreadObject> thread(new (std::nothrow) ThreadObject(start, parameter));
  if (!thread) {
    SetLastError(platform::kErrorNotEnoughMemory);
    return nullptr;
  }
  // The handle comes first: a thread that can't be given a handle must not run.
  const HANDLE handle = Handles().Insert(thread);
  if (handle == nullptr) return nullptr;
  if (const std::uint32_t error = ThreadObject::Start(thread); error != 0) {
    Handles().Remove(handle);
    SetLastError(error);
    return nullptr;
  }
  return handle;
}

bool EmbeddedThreads::GetExitCodeThread(HANDLE thread, std::uint32_t* exit_code) {
  const auto object = Handles().Find<ThreadObject>(thread, Kind::kThread);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  *exit_code = object->exit_code();
  return true;
}

bool EmbeddedThreads::TerminateThread(HANDLE thread, std::uint32_t exit_code) {
  ThreadObject* own = nullptr;
  {
    const auto object = Handles().Find<ThreadObject>(thread, Kind::kThread);
    if (!object) return Fail(platform::kErrorInvalidHandle);
    if (object.get() != ThreadObject::Current()) {
      object->End(exit_code);
      return true;
    }
    own = object.get();
  }
  own->End(exit_code);
  return true;
}

HANDLE EmbeddedThreads::CreateEventW(bool manual_reset, bool initial_state) {
  const auto reset = manual_reset ? Waitable::Reset::kManual : Waitable::Reset::kAutomatic;
  std::shared_ptr<Waitable> event(new (std::nothrow) Waitable(Kind::kEvent, reset, initial_state));
  if (!event) {
    SetLastError(platform::kErrorNotEnoughMemory);
    return nullptr;
  }
  return Handles().Insert(std::move(event));
}

bool EmbeddedThreads::SetEvent(HANDLE event) {
  const auto object = Handles().Find<Waitable>(event, Kind::kEvent);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  object->Signal();
  return true;
}

bool EmbeddedThreads::ResetEvent(HANDLE event) {
  const auto object = Handles().Find<Waitable>(event, Kind::kEvent);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  object->Clear();
  return true;
}

// The three calls below are where an ended thread leaves. What they hold is gone by then: it lives in the functions
// that they call.

std::uint32_t EmbeddedThreads::WaitForSingleObject(HANDLE object, std::uint32_t timeout_ms) {
  const std::uint32_t result = WaitForOne(object, timeout_ms);
  if (result == Waiter::kInterrupted) ThreadObject::Leave();
  return result;
}

std::uint32_t EmbeddedThreads::WaitForMultipleObjects(std::uint32_t count, const HANDLE* objects, bool wait_all,
                                                      std::uint32_t timeout_ms) {
  const std::uint32_t result = WaitForSeveral(count, objects, wait_all, timeout_ms);
  if (result == Waiter::kInterrupted) ThreadObject::Leave();
  return result;
}

void EmbeddedThreads::Sleep(std::uint32_t milliseconds) {
  if (SleepFor(milliseconds) == Waiter::kInterrupted) ThreadObject::Leave();
}

bool EmbeddedThreads::InitializeCriticalSection() {
  return true;
}

bool EmbeddedThreads::InitOnceExecuteOnce(platform::InitOnce* once, platform::InitOnceFunction function,
                                          void* parameter, void** context) {
  enum State : std::uintptr_t { kUntouched, kRunning, kDone };
  const auto state = std::atomic_ref<void*>(once->state);
  const auto as_pointer = [](State value) { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(value)); };
  for (;;) {
    void* seen = as_pointer(kUntouched);
    if (state.compare_exchange_strong(seen, as_pointer(kRunning))) break;
    if (seen == as_pointer(kDone)) {
      if (context != nullptr) *context = once->context;
      return true;
    }
    state.wait(seen);
  }
  const bool good = function(parameter, &once->context);
  state.store(as_pointer(good ? kDone : kUntouched));
  state.notify_all();
  if (good && context != nullptr) *context = once->context;
  return good;
}

}  // namespace varnel::embedded
