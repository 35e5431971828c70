#include "tests/support/hooked_plan.h"

#include <utility>

namespace varnel::testing {
void HookedPlan::After(const std::string& operation, unsigned nth, std::function<void()> act) {
  const std::lock_guard lock(hooks_mutex_);
  hooks_.push_back({operation, nth, std::move(act)});
}

std::optional<std::uint32_t> HookedPlan::Called(const char* operation) {
  {
    const std::lock_guard lock(hooks_mutex_);
    const auto own = under_way_.find(std::this_thread::get_id());
    for (Hook& hook : hooks_) {
      if (own == under_way_.end() || hook.calls_left == 0 || hook.operation != operation) continue;
      if (--hook.calls_left == 0) own->second.back() = std::move(hook.act);
    }
  }
  return FaultPlan::Called(operation);
}

void HookedPlan::Enter() {
  const std::lock_guard lock(hooks_mutex_);
  under_way_[std::this_thread::get_id()].emplace_back();
}

void HookedPlan::Leave() {
  std::function<void()> act;
  {
    const std::lock_guard lock(hooks_mutex_);
    const auto own = under_way_.find(std::this_thread::get_id());
    act = std::move(own->second.back());
    own->second.pop_back();
    if (own->second.empty()) under_way_.erase(own);
  }
  if (act) act();
}

}  // namespace varnel::testing
