#include "tests/support/heap_faults.h"

#include "tests/support/replaced_heap.h"

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

/// On the allocating thread.
bool Refuses() {
  Armed& armed = g_armed;
  if (!armed.active || armed.paused != 0) return false;
  ++armed.seen;
  const bool fails = armed.nth != 0 && (armed.seen == armed.nth || (armed.persistent && armed.seen > armed.nth));
  armed.failed = armed.failed || fails;
  return fails;
}

}  // namespace

bool HeapFaults::Work() {
  return HeapIsReplaced();
}

HeapFaults::HeapFaults(unsigned nth, bool persistent) {
  SetHeapRefusal(&Refuses);
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
