#include "platform/embedded/threads/waitable.h"

#include <mutex>

namespace varnel::embedded {
namespace {

// Never destroyed: detached threads wait on while the process runs its exit handlers.
std::mutex& WaitLock() {
  static std::mutex* const lock = new std::mutex;
  return *lock;
}

}  // namespace

void Waitable::Signal() noexcept {
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  while (word < kOneWaiter) {
    // Also when it is signalled already: the exchange makes what this thread wrote before visible to who takes it.
    if (word_.compare_exchange_weak(word, kSignalled, std::memory_order_acq_rel)) return;
  }
  std::lock_guard lock(WaitLock());
  word_.fetch_or(kSignalled, std::memory_order_acq_rel);
  for (WaitLink* link = first_; link != nullptr && SignalledLocked(); link = link->next) {
    if (link->waiter->SettleLocked()) link->waiter->wake_.notify_one();
  }
}

void Waitable::Clear() noexcept {
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  while (word < kOneWaiter) {
    if (word_.compare_exchange_weak(word, 0, std::memory_order_acq_rel)) return;
  }
  std::lock_guard lock(WaitLock());
  word_.fetch_and(~kSignalled, std::memory_order_acq_rel);
}

bool Waitable::TryTake() noexcept {
  std::uint32_t word = word_.load(std::memory_order_acquire);
  while (word == kSignalled) {
    if (reset_ == Reset::kManual) return true;
    if (word_.compare_exchange_weak(word, 0, std::memory_order_acq_rel, std::memory_order_acquire)) return true;
  }
  if (word == 0) return false;
  std::lock_guard lock(WaitLock());
  if (!SignalledLocked()) return false;
  TakeLocked();
  return true;
}

void Waitable::TakeLocked() noexcept {
  if (reset_ == Reset::kAutomatic) word_.fetch_and(~kSignalled, std::memory_order_acq_rel);
}

void Waitable::AddLocked(WaitLink* link) noexcept {
  link->previous = last_;
  (last_ != nullptr ? last_->next : first_) = link;
  last_ = link;
  word_.fetch_add(kOneWaiter, std::memory_order_acq_rel);
}

void Waitable::RemoveLocked(WaitLink* link) noexcept {
  (link->previous != nullptr ? link->previous->next : first_) = link->next;
  (link->next != nullptr ? link->next->previous : last_) = link->previous;
  word_.fetch_sub(kOneWaiter, std::memory_order_acq_rel);
}

std::uint32_t Waiter::Run(std::uint32_t timeout_ms, Waiter** current, const bool* interrupted) {
  std::unique_lock lock(WaitLock());
  if (current != nullptr && *interrupted) return kInterrupted;
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    links_[i].waiter = this;
    objects_[i]->AddLocked(&links_[i]);
  }
  if (current != nullptr) *current = this;
  // With the links in place no signal can come or go beside the lock.
  if (!SettleLocked() && timeout_ms != 0) WaitLocked(&lock, timeout_ms);
  if (current != nullptr) *current = nullptr;
  for (std::size_t i = 0; i < objects_.size(); ++i) objects_[i]->RemoveLocked(&links_[i]);
  return result_ == kOpen ? platform::kWaitTimeout : result_;
}

void Waiter::Interrupt(Waiter** current, bool* interrupted) {
  std::lock_guard lock(WaitLock());
  *interrupted = true;
  if (*current == nullptr) return;
  (*current)->result_ = kInterrupted;
  (*current)->wake_.notify_one();
}

/// Takes what the wait asks for if it is there. True when this call settled the wait.
bool Waiter::SettleLocked() noexcept {
  if (result_ != kOpen || objects_.empty()) return false;
  if (all_) {
    for (const Waitable* object : objects_) {
      if (!object->SignalledLocked()) return false;
    }
    for (Waitable* object : objects_) object->TakeLocked();
    result_ = 0;
    return true;
  }
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    if (!objects_[i]->SignalledLocked()) continue;
    objects_[i]->TakeLocked();
    result_ = static_cast<std::uint32_t>(i);
    return true;
  }
  return false;
}

void Waiter::WaitLocked(std::unique_lock<std::mutex>* lock, std::uint32_t timeout_ms) {
  const auto settled = [this] { return result_ != kOpen; };
  if (timeout_ms == ~0u) {
    wake_.wait(*lock, settled);
  } else {
    wake_.wait_for(*lock, std::chrono::milliseconds(timeout_ms), settled);
  }
}

}  // namespace varnel::embedded
