// OrderModel: a naive model of one consumer's queue and of the decision at its head. It is written from what the host
// is promised and shares no code with the module, so that random events, and recorded ones, can be played to both.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace varnel::testing {

struct ModelEvent {
  std::uint64_t time_stamp = 0;
  std::uint32_t counter = 0;
  bool announces_start = false;
  std::uint64_t id = 0;  // tells events with equal values apart

  bool operator==(const ModelEvent&) const = default;
};

/// What a look at the head of the queue led to.
struct ModelLook {
  enum class Fate : std::uint8_t { kWaits, kDelivered, kDestroyed };
  Fate fate = Fate::kWaits;
  ModelEvent event;                     // the one that was looked at
  std::optional<ModelEvent> abandoned;  // left the queue along with a repeat
};

enum class ModelAge : std::uint8_t { kOld, kNew, kInvalid };

/// Whether a counter counts as older or newer than the current one.
ModelAge AgeOf(std::uint32_t current, std::uint32_t check);

class OrderModel {
 public:
  OrderModel() = default;
  OrderModel(std::uint64_t time_stamp, std::uint32_t counter) : time_stamp_(time_stamp), counter_(counter) {}

  /// Behind the first event that is later than the new one; at the end if none is.
  void Insert(const ModelEvent& event);

  /// Looks at the head of a queue that is not empty, after `tries` waits.
  ModelLook Look(unsigned tries);

  const std::vector<ModelEvent>& queue() const { return queue_; }
  std::uint64_t time_stamp() const { return time_stamp_; }  // of the last delivered event
  std::uint32_t counter() const { return counter_; }

 private:
  ModelLook Deliver();
  ModelLook Destroy();
  ModelLook LookAtSameTime(unsigned tries);

  std::vector<ModelEvent> queue_;
  std::uint64_t time_stamp_ = 0;
  std::uint32_t counter_ = 0;
};

}  // namespace varnel::testing
