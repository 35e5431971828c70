#include "tests/support/hooked_plan.h"

#include <utility>

namespace varnel::testing {
namespace {

// What is to be done behind each of this thread's calls that are under way, the innermost last.
thread_local std::vector<std::function<void()>> t_under_way;

}  // namespace

void HookedPlan::After(const std::string& operation, unsigned nth, std::function<void()> act) {
  const std::lock_guard lock(hooks_mutex_);
  hooks_.push_back({operation, nth, std::move(act)});
}

std::optional<std::uint32_t> HookedPlan::Called(const char* operation) {
  if (!t_under_way.empty()) {
    const std::lock_guard lock(hooks_mutex_);
    for (Hook& hook : hooks_) {
      if (hook.calls_left == 0 || hook.operation != operation) continue;
      if (--hook.calls_left == 0) t_under_way.back() = std::move(hook.act);
    }
  }
  return FaultPlan::Called(operation);
}

void HookedPlan::Enter() {
  t_under_way.emplace_back();
}

void HookedPlan::Leave() {
  const std::function<void()> act = std::move(t_under_way.back());
  t_under_way.pop_back();
  if (act) act();
}

}  // namespace varnel::testing
