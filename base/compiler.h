// What depends on the compiler: the attributes of lock checking and the marking of leaks that are kept on purpose.
#pragma once

#include <atomic>
#include <cstdint>

#if defined(__clang__)
#define VARNEL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VARNEL_THREAD_ATTRIBUTE(x)
#endif

#define VARNEL_CAPABILITY(name) VARNEL_THREAD_ATTRIBUTE(capability(name))
#define VARNEL_SCOPED_CAPABILITY VARNEL_THREAD_ATTRIBUTE(scoped_lockable)
#define VARNEL_GUARDED_BY(lock) VARNEL_THREAD_ATTRIBUTE(guarded_by(lock))
#define VARNEL_PT_GUARDED_BY(lock) VARNEL_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define VARNEL_ACQUIRED_AFTER(...) VARNEL_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define VARNEL_ACQUIRED_BEFORE(...) VARNEL_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define VARNEL_REQUIRES(...) VARNEL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VARNEL_REQUIRES_SHARED(...) VARNEL_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define VARNEL_ACQUIRE(...) VARNEL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VARNEL_ACQUIRE_SHARED(...) VARNEL_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define VARNEL_RELEASE(...) VARNEL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VARNEL_RELEASE_SHARED(...) VARNEL_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define VARNEL_RELEASE_GENERIC(...) VARNEL_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define VARNEL_TRY_ACQUIRE(...) VARNEL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VARNEL_EXCLUDES(...) VARNEL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VARNEL_NO_THREAD_SAFETY_ANALYSIS VARNEL_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#if defined(__SANITIZE_ADDRESS__)
#define VARNEL_LEAK_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VARNEL_LEAK_SANITIZER 1
#endif
#endif

#if defined(VARNEL_LEAK_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace varnel {

/// How many blocks and handles this process has lost on purpose. Tests compare it before and after.
inline std::atomic<std::uint32_t> g_intended_leaks{0};

inline void MarkIntendedLeak(const void* lost) {
  g_intended_leaks.fetch_add(1, std::memory_order_relaxed);
#if defined(VARNEL_LEAK_SANITIZER)
  __lsan_ignore_object(lost);
#else
  static_cast<void>(lost);
#endif
}

}  // namespace varnel

/// Says that the block (or handle) is never released, because the module's contract has it so.
#define VARNEL_INTENDED_LEAK(lost) ::varnel::MarkIntendedLeak(lost)
