#include "platform/embedded/threads/thread_object.h"

#include <pthread.h>

#include <cstdlib>
#include <new>

namespace varnel::embedded {
namespace {

thread_local ThreadObject* t_current = nullptr;

}  // namespace

std::uint32_t ThreadObject::Start(const std::shared_ptr<ThreadObject>& thread) {
  auto* shared = new (std::nothrow) std::shared_ptr<ThreadObject>(thread);
  if (shared == nullptr) return platform::kErrorNotEnoughMemory;
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t ignored;
  const int error = ::pthread_create(&ignored, &attributes, &ThreadObject::Main, shared);
  ::pthread_attr_destroy(&attributes);
  if (error == 0) return platform::kErrorSuccess;
  delete shared;
  return platform::kErrorNotEnoughMemory;
}

ThreadObject* ThreadObject::Current() noexcept {
  return t_current;
}

std::uint32_t ThreadObject::exit_code() const noexcept {
  const std::uint64_t code = exit_code_.load(std::memory_order_acquire);
  return code == kNoCode ? platform::kStillActive : static_cast<std::uint32_t>(code);
}

void ThreadObject::End(std::uint32_t exit_code) {
  WriteExitCode(exit_code);
  Waiter::Interrupt(&current_wait_, &ended_);
  if (t_current == this) Leave();
}

std::uint32_t ThreadObject::Wait(std::span<Waitable* const> objects, bool all, std::uint32_t timeout_ms) {
  Waiter waiter(objects, all);
  ThreadObject* const self = t_current;
  if (self == nullptr) return waiter.Run(timeout_ms, nullptr, nullptr);
  return waiter.Run(timeout_ms, &self->current_wait_, &self->ended_);
}

bool ThreadObject::CurrentWasEnded() {
  // The code is there before the mark, and a thread that has written its own asks no more.
  return t_current != nullptr && t_current->exit_code_.load(std::memory_order_acquire) != kNoCode;
}

void ThreadObject::Leave() {
  if (t_current == nullptr) std::abort();
  std::longjmp(t_current->at_start_, 1);
}

void* ThreadObject::Main(void* shared) {
  std::unique_ptr<std::shared_ptr<ThreadObject>> owner(static_cast<std::shared_ptr<ThreadObject>*>(shared));
  t_current = owner->get();
  t_current->Run();
  t_current->Signal();
  t_current = nullptr;
  return nullptr;
}

void ThreadObject::Run() {
  if (setjmp(at_start_) != 0) return;
  if (CurrentWasEnded()) return;  // before it began
  WriteExitCode(start_(parameter_));
}

void ThreadObject::WriteExitCode(std::uint32_t exit_code) noexcept {
  std::uint64_t none = kNoCode;
  exit_code_.compare_exchange_strong(none, exit_code, std::memory_order_acq_rel);
}

}  // namespace varnel::embedded
