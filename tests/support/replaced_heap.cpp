#include "tests/support/replaced_heap.h"

#include <malloc.h>

#include <atomic>
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

std::atomic<std::size_t> g_live{0};
std::atomic<std::size_t> g_peak{0};
std::atomic<bool (*)()> g_refuses{nullptr};

std::size_t SizeOf(void* block) {
#ifdef _WIN32
  return ::_msize(block);
#else
  return ::malloc_usable_size(block);
#endif
}

[[maybe_unused]] void* Allocate(std::size_t size) noexcept {
  bool (*const refuses)() = g_refuses;
  if (refuses != nullptr && refuses()) return nullptr;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) return nullptr;
  const std::size_t added = SizeOf(block);
  const std::size_t live = g_live.fetch_add(added) + added;
  std::size_t peak = g_peak;
  while (live > peak && !g_peak.compare_exchange_weak(peak, live)) {
  }
  return block;
}

[[maybe_unused]] void* AllocateOrThrow(std::size_t size) {
  void* const block = Allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

[[maybe_unused]] void Free(void* block) noexcept {
  if (block == nullptr) return;
  g_live -= SizeOf(block);
  std::free(block);
}

}  // namespace

bool HeapIsReplaced() {
  return VARNEL_THREAD_SANITIZER == 0;
}

void SetHeapRefusal(bool (*refuses)()) {
  g_refuses = refuses;
}

HeapPeak::HeapPeak() : before_(g_live) {
  g_peak = before_;
}

std::size_t HeapPeak::bytes() const {
  return g_peak - before_;
}

}  // namespace varnel::testing

#if !VARNEL_THREAD_SANITIZER
// All forms, so that none of them is mixed with a sanitizer's.
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
  varnel::testing::Free(block);
}
void operator delete[](void* block) noexcept {
  varnel::testing::Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  varnel::testing::Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  varnel::testing::Free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  varnel::testing::Free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  varnel::testing::Free(block);
}
#endif
