#include "tests/support/heap_faults.h"

#include <cstdlib>
#include <new>

// clang's thread sanitizer brings its own operator new and takes no other.
#if defined(__SANITIZE_THREAD__)
#define VARNEL_THREAD_SANITIZER 1
#elif defined(__has_feature)
#define VARNEL_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define VARNEL_THREAD_SANITIZER 0
#endif

namespace varnel::testing {
namespace {

struct Armed {
  bool active = false;
  bool persistent = false;
  unsigned nth = 0;
  unsigned seen = 0;
  unsigned paused = 0;
  bool failed = false;
};

thread_local Armed g_armed;

[[maybe_unused]] void* Allocate(std::size_t size) {
  Armed& armed = g_armed;
  if (armed.active && armed.paused == 0) {
    ++armed.seen;
    const bool fails = armed.nth != 0 && (armed.seen == armed.nth || (armed.persistent && armed.seen > armed.nth));
    if (fails) {
      armed.failed = true;
      return nullptr;
    }
  }
  return std::malloc(size == 0 ? 1 : size);
}

[[maybe_unused]] void* AllocateOrThrow(std::size_t size) {
  void* const block = Allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

bool HeapFaults::Work() {
  return VARNEL_THREAD_SANITIZER == 0;
}

HeapFaults::HeapFaults(unsigned nth, bool persistent) {
  g_armed = {true, persistent, nth, 0, 0, false};
}

HeapFaults::~HeapFaults() {
  g_armed = {};
}

bool HeapFaults::failed() const {
  return g_armed.failed;
}

unsigned HeapFaults::allocations() const {
  return g_armed.seen;
}

void HeapFaultPlan::Enter() {
  ++g_armed.paused;
}

void HeapFaultPlan::Leave() {
  --g_armed.paused;
}

}  // namespace varnel::testing

#if !VARNEL_THREAD_SANITIZER
void* operator new(std::size_t size) {
  return varnel::testing::AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return varnel::testing::AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return varnel::testing::Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return varnel::testing::Allocate(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
#endif
