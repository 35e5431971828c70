#include "tests/pipeline/json_allocations.h"

#include <cjson/cJSON.h>

#include <atomic>
#include <cstdlib>

namespace varnel::testing {
namespace {

std::atomic<int> g_live{0};
thread_local unsigned t_failing = 0;  // 0: none
thread_local unsigned t_seen = 0;
thread_local bool t_for_ever = false;

void* Allocate(std::size_t size) {
  if (t_failing != 0 && (++t_seen == t_failing || (t_for_ever && t_seen > t_failing))) return nullptr;
  ++g_live;
  return std::malloc(size);
}

void Free(void* block) {
  if (block != nullptr) --g_live;
  std::free(block);
}

// Before the first use of the library in this process.
const bool g_hooked = [] {
  cJSON_Hooks hooks{Allocate, Free};
  cJSON_InitHooks(&hooks);
  return true;
}();

}  // namespace

FailingJsonAllocation::FailingJsonAllocation(unsigned nth, Length length) {
  t_seen = 0;
  t_for_ever = length == Length::kForEver;
  t_failing = nth;
}

FailingJsonAllocation::~FailingJsonAllocation() {
  t_failing = 0;
}

bool FailingJsonAllocation::Happened() const {
  return t_seen >= t_failing;
}

int LiveJsonBlocks() {
  return g_live;
}

}  // namespace varnel::testing
