#include "tests/support/fault_plan.h"

#include <utility>

namespace varnel::testing {

void FaultPlan::Fail(Fault fault) {
  const std::lock_guard lock(mutex_);
  faults_.push_back({std::move(fault)});
}

void FaultPlan::Clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
  counts_.clear();
  calls_.clear();
  failures_ = 0;
}

std::optional<std::uint32_t> FaultPlan::Called(const char* operation) {
  const std::lock_guard lock(mutex_);
  ++counts_[operation];
  calls_.emplace_back(operation);
  std::optional<std::uint32_t> code;
  for (Armed& armed : faults_) {
    if (armed.fault.operation != operation) continue;
    ++armed.seen;
    if (armed.seen == armed.fault.nth || (armed.fault.persistent && armed.seen > armed.fault.nth)) {
      code = armed.fault.code;
    }
  }
  if (code) ++failures_;
  return code;
}

unsigned FaultPlan::CountOf(const std::string& operation) const {
  const std::lock_guard lock(mutex_);
  const auto found = counts_.find(operation);
  return found == counts_.end() ? 0 : found->second;
}

std::map<std::string, unsigned> FaultPlan::Counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

std::vector<std::string> FaultPlan::Calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

unsigned FaultPlan::failures() const {
  const std::lock_guard lock(mutex_);
  return failures_;
}

}  // namespace varnel::testing
