#include "platform/slim_lock.h"

#include <windows.h>

#include <type_traits>

namespace varnel::platform {
namespace {

static_assert(sizeof(SlimLock) == sizeof(SRWLOCK) && alignof(SlimLock) == alignof(SRWLOCK));
static_assert(std::is_trivially_destructible_v<SlimLock>);

SRWLOCK* Lock(void** state) {
  return reinterpret_cast<SRWLOCK*>(state);
}

}  // namespace

void SlimLock::LockExclusive() noexcept {
  AcquireSRWLockExclusive(Lock(&state_));
}
void SlimLock::UnlockExclusive() noexcept {
  ReleaseSRWLockExclusive(Lock(&state_));
}
void SlimLock::LockShared() noexcept {
  AcquireSRWLockShared(Lock(&state_));
}
void SlimLock::UnlockShared() noexcept {
  ReleaseSRWLockShared(Lock(&state_));
}

}  // namespace varnel::platform
