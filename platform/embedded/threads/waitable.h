// What a thread can wait for, and the waiting itself.
//
// An object that nobody waits for is signalled, cleared and taken by one compare-and-exchange of its word. As soon as a
// thread waits for it, all three go through one lock of the process, under which a signal is handed to the waiting
// threads in the order of their coming: so that a wait for all of several objects takes them at one instant.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <span>

#include "platform/embedded/core/handle_table.h"

namespace varnel::embedded {

class Waiter;

/// One object's place in one wait. It stands in the waiting thread's frame. Guarded by the wait lock.
struct WaitLink {
  WaitLink* previous = nullptr;
  WaitLink* next = nullptr;
  Waiter* waiter = nullptr;
};

/// An event or a thread. Any thread may call.
class Waitable : public Object {
 public:
  enum class Reset { kAutomatic, kManual };

  Waitable(Kind kind, Reset reset, bool signalled) : Object(kind), reset_(reset), word_(signalled ? kSignalled : 0) {}

  void Signal() noexcept;
  void Clear() noexcept;
  /// What a wait does that needs not block: true when the object was signalled, which clears it when it resets itself.
  bool TryTake() noexcept;

 private:
  friend class Waiter;

  static constexpr std::uint32_t kSignalled = 1;
  static constexpr std::uint32_t kOneWaiter = 2;

  bool SignalledLocked() const noexcept { return (word_.load(std::memory_order_acquire) & kSignalled) != 0; }
  void TakeLocked() noexcept;
  void AddLocked(WaitLink* link) noexcept;
  void RemoveLocked(WaitLink* link) noexcept;

  const Reset reset_;
  // Bit 0: signalled. Above it the number of waits that hold a link here, which changes under the wait lock only.
  std::atomic<std::uint32_t> word_;
  WaitLink* first_ = nullptr;  // guarded by the wait lock, in the order of coming
  WaitLink* last_ = nullptr;   // likewise
};

/// One wait of one thread, made in that thread's frame. REQUIRES: the objects outlive it, and there are at most kMost.
class Waiter {
 public:
  static constexpr std::size_t kMost = 64;
  static constexpr std::uint32_t kInterrupted = ~0u - 1;

  Waiter(std::span<Waitable* const> objects, bool all) : objects_(objects), all_(all) {}
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  /// The index of the first object taken, platform::kWaitTimeout, or kInterrupted. `current` is where the thread shows
  /// its wait to whoever may interrupt it, null for a thread that nobody interrupts; `interrupted` goes with it.
  std::uint32_t Run(std::uint32_t timeout_ms, Waiter** current, const bool* interrupted);

  /// Wakes the wait that is shown at `current`, if there is one, and sets `*interrupted`, at one instant.
  static void Interrupt(Waiter** current, bool* interrupted);

 private:
  friend class Waitable;
  static constexpr std::uint32_t kOpen = ~0u;

  bool SettleLocked() noexcept;
  void WaitLocked(std::unique_lock<std::mutex>* lock, std::uint32_t timeout_ms);

  const std::span<Waitable* const> objects_;
  const bool all_;
  // Guarded by the wait lock.
  std::uint32_t result_ = kOpen;
  std::condition_variable wake_;
  WaitLink links_[kMost];
};

}  // namespace varnel::embedded
