// Plays a record of queues to the order model: what became of each event by the rules, whatever the module did.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/guid.h"
#include "tests/pipeline/order_model.h"
#include "tests/support/order_recorder.h"

namespace varnel::testing {

/// One event of a consumer that left its queue by the model, or that still stood there when its process ended.
struct ReplayedEvent {
  enum class Fate : std::uint8_t { kDelivered, kDestroyed, kTakenAlong, kStillQueued };
  Fate fate = Fate::kStillQueued;
  GUID provider{};
  std::uint64_t keyword = 0;
  std::uint64_t time_stamp = 0;
  std::uint32_t counter = 0;
  std::uint32_t process_id = 0;
};

struct Replay {
  std::vector<ReplayedEvent> events;
  /// Looks at which the module's head or position was not the model's, in words; empty when both went the same way.
  std::vector<std::string> disagreements;
};

/// `records` may hold several processes, one after the other; each begins with empty queues and the positions that its
/// first looks tell.
Replay ReplayOrderRecords(const std::vector<OrderRecord>& records);

}  // namespace varnel::testing
