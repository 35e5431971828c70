#include "tests/pipeline/order_model.h"

#include <algorithm>
#include <tuple>

namespace varnel::testing {
namespace {

// Wide enough that nothing wraps: borders are written as they are meant.
constexpr std::int64_t kRange = std::int64_t{1} << 32;
constexpr std::int64_t kQuarter = 0x3FFFFFFF;

bool Between(std::int64_t low, std::int64_t value, std::int64_t high) {
  return low <= value && value <= high;
}

}  // namespace

ModelAge AgeOf(std::uint32_t current, std::uint32_t check) {
  const std::int64_t cur = current;
  const std::int64_t chk = check;
  if (chk == cur) return ModelAge::kOld;
  if (cur - kQuarter < 0) {
    // Old counters are those before the wrap only; what is below the current one is neither.
    if (Between(cur - kQuarter + kRange, chk, kRange - 1)) return ModelAge::kOld;
    return Between(cur + 1, chk, cur + kQuarter) ? ModelAge::kNew : ModelAge::kInvalid;
  }
  if (cur + kQuarter >= kRange) {
    // The lowest old counter is not one, and neither is 0 behind the wrap.
    if (Between(cur - kQuarter + 1, chk, cur - 1)) return ModelAge::kOld;
    if (Between(cur + 1, chk, kRange - 1)) return ModelAge::kNew;
    return Between(1, chk, cur + kQuarter - kRange) ? ModelAge::kNew : ModelAge::kInvalid;
  }
  if (Between(cur - kQuarter, chk, cur - 1)) return ModelAge::kOld;
  return Between(cur + 1, chk, cur + kQuarter) ? ModelAge::kNew : ModelAge::kInvalid;
}

void OrderModel::Insert(const ModelEvent& event) {
  const auto later = std::find_if(queue_.begin(), queue_.end(), [&](const ModelEvent& queued) {
    return std::tie(event.time_stamp, event.counter) < std::tie(queued.time_stamp, queued.counter);
  });
  queue_.insert(later == queue_.end() ? later : later + 1, event);
}

ModelLook OrderModel::Deliver() {
  ModelLook look{ModelLook::Fate::kDelivered, queue_.front(), std::nullopt};
  queue_.erase(queue_.begin());
  time_stamp_ = look.event.time_stamp;
  counter_ = look.event.counter;
  return look;
}

ModelLook OrderModel::Destroy() {
  ModelLook look{ModelLook::Fate::kDestroyed, queue_.front(), std::nullopt};
  queue_.erase(queue_.begin());
  return look;
}

ModelLook OrderModel::LookAtSameTime(unsigned tries) {
  const ModelEvent head = queue_.front();
  if (head.announces_start) return Destroy();
  if (head.counter == counter_) {
    ModelLook look = Destroy();
    if (!queue_.empty()) {
      look.abandoned = queue_.front();
      queue_.erase(queue_.begin());
    }
    return look;
  }
  if (head.counter == static_cast<std::uint32_t>(counter_ + 1)) return Deliver();
  if (AgeOf(counter_, head.counter) != ModelAge::kNew) return Destroy();
  return tries >= 10 ? Deliver() : ModelLook{ModelLook::Fate::kWaits, head, std::nullopt};
}

ModelLook OrderModel::Look(unsigned tries) {
  const ModelEvent head = queue_.front();
  if (head.time_stamp < time_stamp_) return Destroy();
  if (head.time_stamp == time_stamp_) return LookAtSameTime(tries);
  if (head.counter == static_cast<std::uint32_t>(counter_ + 1) || tries >= 10) return Deliver();
  return {ModelLook::Fate::kWaits, head, std::nullopt};
}

}  // namespace varnel::testing
