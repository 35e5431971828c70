// Emitter plays sample providers: it writes what an EmitPlan says for each of them through the provider library, from
// as many threads as asked for, at a rate.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "formats/result.h"
#include "host/emit_plan.h"
#include "host/providers.h"

namespace varnel::host {

struct EmitRun {
  std::string machine;
  std::vector<const KnownProvider*> providers;
  EmitOptions plan;         // the same for each provider
  double rate = 0;          // events a second over all providers and threads; 0: as fast as it goes
  unsigned threads = 1;     // for each provider; they share its counter and its running number
  std::uint32_t flags = 8;  // of the events; 8: the host shall see them
};

/// What became of the events.
struct EmitTotals {
  std::uint64_t written = 0;
  std::uint64_t lost = 0;     // the session found no room, which it counts; or the event is over any limit
  std::uint64_t unheard = 0;  // no session had the provider enabled

  EmitTotals& operator+=(const EmitTotals& other);
};

/// Writes all of it and returns; earlier when `stop` says so. `stop` is called from all threads at once.
formats::Result<EmitTotals> Emit(const EmitRun& run, const std::function<bool()>& stop);

}  // namespace varnel::host
