// The decision at the head of a consumer's queue: each event is judged against the last delivered one, by time stamp
// and by the provider's counter, and is delivered, destroyed, or held back for a moment in the hope that the missing
// event arrives.
#pragma once

#include <cstdint>

#include "pipeline/progress_store.h"
#include "pipeline/raw_event.h"
#include "pipeline/target_consumer.h"
#include "platform/types.h"

namespace varnel {

/// How often an event is held back, and for how long: a gap in the counters costs at most 500 ms for each event.
inline constexpr std::uint32_t kMaxOrderTries = 10;
inline constexpr std::uint32_t kOrderWaitMs = 50;

enum class EventAction : std::uint8_t { kDeliver, kDestroy, kWait };

struct EventRuling {
  EventAction action = EventAction::kWait;
  /// The event is the last delivered one once more.
  bool is_repeat = false;
  /// Why it is destroyed; null otherwise.
  const char16_t* line = nullptr;
};

/// Rules on an event against the current position, after `tries` waits. Pure but for the log line of a counter outside
/// the window.
EventRuling JudgeRawEvent(const RawEvent& raw, const ProviderModuleCounter& current, std::uint32_t tries);

/// Judges and handles the event at the head of a queue that is not empty. *hKey is the position's registry key, null
/// until the first delivery opens it. Gives the result of the last DestoryRawEvent. Runs on the consumer's thread, or
/// on the stopping thread once that has ended; the queue lock is given back, and is not held while waiting, delivering
/// and storing the position.
//
// A repeat takes the event behind it along: that one leaves the queue, is neither delivered nor destroyed, and stays
// allocated.
std::uint32_t CookRawEvent(TargetConsumer* consumer, platform::HKEY* hKey) VARNEL_RELEASE(consumer->QueueLock);

}  // namespace varnel
