#include "tests/faults/guarded_pages.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "tests/faults/page_memory.h"

namespace varnel::testing {
namespace {

std::array<void*, 16> g_pages{};
std::size_t g_pages_used = 0;

bool IsGuarded(const void* address) {
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  for (std::size_t i = 0; i < g_pages_used; ++i) {
    const auto page = reinterpret_cast<std::uintptr_t>(g_pages[i]);
    if (at >= page && at < page + kGuardedPageSize) return true;
  }
  return false;
}

}  // namespace

void WatchGuardedPages(int exit_code) {
  EndAtFaultOn(IsGuarded, exit_code);
}

void* TakeGuardedPage() {
  if (g_pages_used == g_pages.size()) return nullptr;
  void* const page = MapPage(kGuardedPageSize);
  if (page != nullptr) g_pages[g_pages_used++] = page;
  return page;
}

bool ReleaseGuardedPage(void* page) {
  const auto end = g_pages.begin() + static_cast<std::ptrdiff_t>(g_pages_used);
  if (std::find(g_pages.begin(), end, page) == end) return false;
  ClosePage(page, kGuardedPageSize);
  return true;
}

}  // namespace varnel::testing
