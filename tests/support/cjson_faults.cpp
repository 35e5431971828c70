#include "tests/support/cjson_faults.h"

#include <cjson/cJSON.h>

#include <atomic>
#include <cstdlib>

namespace varnel::testing {
namespace {

struct Armed {
  bool active = false;
  bool persistent = false;
  unsigned nth = 0;
  unsigned seen = 0;
  bool failed = false;
};

thread_local Armed g_armed;
std::atomic<long> g_blocks{0};

void* CJSON_CDECL Allocate(std::size_t size) {
  if (g_armed.active) {
    ++g_armed.seen;
    const bool fails =
        g_armed.nth != 0 && (g_armed.seen == g_armed.nth || (g_armed.persistent && g_armed.seen > g_armed.nth));
    if (fails) {
      g_armed.failed = true;
      return nullptr;
    }
  }
  void* const block = std::malloc(size);
  if (block != nullptr) ++g_blocks;
  return block;
}

void CJSON_CDECL Free(void* block) {
  if (block != nullptr) --g_blocks;
  std::free(block);
}

[[maybe_unused]] const bool g_hooked = [] {
  cJSON_Hooks hooks{&Allocate, &Free};
  cJSON_InitHooks(&hooks);
  return true;
}();

}  // namespace

CJsonAllocationFaults::CJsonAllocationFaults(unsigned nth, bool persistent) {
  g_armed = {true, persistent, nth, 0, false};
}

CJsonAllocationFaults::~CJsonAllocationFaults() {
  g_armed = {};
}

bool CJsonAllocationFaults::failed() const {
  return g_armed.failed;
}

unsigned CJsonAllocationFaults::allocations() const {
  return g_armed.seen;
}

long CJsonBlocks() {
  return g_blocks.load();
}

}  // namespace varnel::testing
