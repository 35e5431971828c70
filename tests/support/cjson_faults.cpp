#include "tests/support/cjson_faults.h"

#include <cjson/cJSON.h>

#include <atomic>
#include <cstdlib>

#include "tests/support/nth_fault.h"

namespace varnel::testing {
namespace {

thread_local NthFault g_fault;
std::atomic<long> g_blocks{0};

void* CJSON_CDECL Allocate(std::size_t size) {
  if (g_fault.Strikes()) return nullptr;
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
  g_fault = {true, persistent, nth, 0, false};
}

CJsonAllocationFaults::~CJsonAllocationFaults() {
  g_fault = {};
}

bool CJsonAllocationFaults::failed() const {
  return g_fault.failed;
}

unsigned CJsonAllocationFaults::allocations() const {
  return g_fault.seen;
}

long CJsonBlocks() {
  return g_blocks.load();
}

}  // namespace varnel::testing
