#include "tests/support/heap_faults.h"

#include "tests/support/nth_fault.h"
#include "tests/support/replaced_heap.h"

namespace varnel::testing {
namespace {

thread_local NthFault g_fault;
thread_local unsigned g_paused = 0;

/// On the allocating thread.
bool Refuses() {
  return g_paused == 0 && g_fault.Strikes();
}

}  // namespace

bool HeapFaults::Work() {
  return HeapIsReplaced();
}

HeapFaults::HeapFaults(unsigned nth, bool persistent) {
  SetHeapRefusal(&Refuses);
  g_fault = {true, persistent, nth, 0, false};
  g_paused = 0;
}

HeapFaults::~HeapFaults() {
  g_fault = {};
  g_paused = 0;
}

bool HeapFaults::failed() const {
  return g_fault.failed;
}

unsigned HeapFaults::allocations() const {
  return g_fault.seen;
}

void HeapFaultPlan::Enter() {
  ++g_paused;
}

void HeapFaultPlan::Leave() {
  --g_paused;
}

}  // namespace varnel::testing
