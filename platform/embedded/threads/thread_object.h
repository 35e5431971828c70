// A thread of the module on the embedded platform, and how it is ended from outside.
//
// A thread that was ended never runs module code again: at its next wait or sleep, or at once when it is in one, it
// leaves for its own start with one jump, without returning into its caller. Frames of module code that the jump
// crosses are not unwound, as with the platform's own call. Its handle is signalled when it has left, so that who waits
// for it may free what it was using. Its exit code is written once, by whoever is first: the thread or who ends it.
#pragma once

#include <csetjmp>
#include <memory>

#include "platform/embedded/threads/waitable.h"
#include "platform/threads.h"

namespace varnel::embedded {

class ThreadObject : public Waitable {
 public:
  ThreadObject(platform::ThreadStart start, void* parameter)
      : Waitable(Kind::kThread, Reset::kManual, false), start_(start), parameter_(parameter) {}

  /// Starts the system's thread, which shares the object's ownership while it runs. 0, or a Win32 error.
  static std::uint32_t Start(const std::shared_ptr<ThreadObject>& thread);

  /// The thread that calls, null when CreateThread did not make it.
  static ThreadObject* Current() noexcept;

  /// kStillActive until the thread has ended or was ended.
  std::uint32_t exit_code() const noexcept;

  /// Ends the thread as told above. Does not come back when the thread ends itself.
  void End(std::uint32_t exit_code);

  /// Waits for `objects` on the calling thread, as Waiter::Run does. Waiter::kInterrupted when the thread was ended:
  /// the caller then lets go of all that it holds and calls Leave.
  static std::uint32_t Wait(std::span<Waitable* const> objects, bool all, std::uint32_t timeout_ms);

  /// Whether the calling thread was ended. For long work of the platform's own, which returns out of its own frames
  /// first and then calls Leave.
  static bool CurrentWasEnded();

  /// Leaves for the thread's start. REQUIRES: CurrentWasEnded, no frame of the platform between here and module code
  /// that holds anything to destroy, and no lock held.
  [[noreturn]] static void Leave();

 private:
  static void* Main(void* shared);
  void Run();
  void WriteExitCode(std::uint32_t exit_code) noexcept;

  static constexpr std::uint64_t kNoCode = ~std::uint64_t{0};

  const platform::ThreadStart start_;
  void* const parameter_;
  std::jmp_buf at_start_;  // the thread's own
  std::atomic<std::uint64_t> exit_code_{kNoCode};
  Waiter* current_wait_ = nullptr;  // guarded by the wait lock
  bool ended_ = false;              // guarded by the wait lock
};

}  // namespace varnel::embedded
