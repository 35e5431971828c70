// Relaxed<T>: a plain field that one thread writes while others read it with no lock between them. Reads and writes are
// relaxed atomics: each value is whole, and nothing is ordered by them. What must be ordered has an event, a lock or
// the start or end of a thread beside it.
#pragma once

#include <atomic>

namespace varnel {

template <typename T>
class Relaxed {
 public:
  constexpr Relaxed() noexcept = default;
  constexpr Relaxed(T value) noexcept : value_(value) {}  // NOLINT: stands in for the value
  Relaxed(const Relaxed&) = delete;
  Relaxed& operator=(const Relaxed&) = delete;

  operator T() const noexcept { return value_.load(std::memory_order_relaxed); }  // NOLINT: likewise
  Relaxed& operator=(T value) noexcept {
    value_.store(value, std::memory_order_relaxed);
    return *this;
  }
  T get() const noexcept { return value_.load(std::memory_order_relaxed); }
  /// Stores the value and gives the old one, as one step.
  T Exchange(T value) noexcept { return value_.exchange(value); }
  /// Adds, as one step, and gives the new value.
  T Add(T amount) noexcept { return value_.fetch_add(amount, std::memory_order_relaxed) + amount; }

 private:
  std::atomic<T> value_{};
  static_assert(std::atomic<T>::is_always_lock_free);
};

}  // namespace varnel
