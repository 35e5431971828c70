// The road by which a test build writes down what happens at a consumer's queue: each insertion and each look at the
// head, in their order, so that a model can replay them. The module itself is built without it, and then these are
// nothing. Both run under the consumer's queue lock.
#pragma once

#include <cstdint>

namespace varnel {

struct RawEvent;
struct TargetConsumer;

#if defined(VARNEL_RECORD_ORDER)
/// `event` has just been placed in the consumer's queue.
void RecordInsertion(const TargetConsumer& consumer, const RawEvent& event);
/// The queue's head is about to be judged, after `tries` waits.
void RecordLook(const TargetConsumer& consumer, std::uint32_t tries);
#else
inline void RecordInsertion(const TargetConsumer& /*consumer*/, const RawEvent& /*event*/) {}
inline void RecordLook(const TargetConsumer& /*consumer*/, std::uint32_t /*tries*/) {}
#endif

}  // namespace varnel
