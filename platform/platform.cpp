#include "platform/platform.h"

#include <atomic>

namespace varnel::platform {
namespace {

// Null until a test installs a record, so that a load constructor can call in any order.
std::atomic<Platform*> g_installed{nullptr};

}  // namespace

Platform& CurrentPlatform() {
  Platform* installed = g_installed.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : SystemPlatform();
}

ScopedPlatform::ScopedPlatform(Platform* platform)
    : previous_(g_installed.exchange(platform, std::memory_order_acq_rel)) {}

ScopedPlatform::~ScopedPlatform() {
  g_installed.store(previous_, std::memory_order_release);
}

}  // namespace varnel::platform
