#include "tests/faults/sweep_plan.h"

#include <array>
#include <string_view>

namespace varnel::testing {
namespace {

const std::string kTest = "test";

// A pointer, since nothing thread-local may want a destructor: mingw takes the memory away before the destructors run.
thread_local const std::string* g_caller = &kTest;

/// The calls of one line of the log: it begins with the precise time and ends when its last block is freed behind the
/// write.
struct LogLine {
  bool open = false;
  bool written = false;
  int blocks = 0;
};
thread_local LogLine g_line;

void Follow(std::string_view operation) {
  if (operation == "HeapAlloc") ++g_line.blocks;
  if (operation == "HeapFree") --g_line.blocks;
  if (operation == "WriteFile") g_line.written = true;
  if (g_line.written && g_line.blocks == 0) g_line = {};
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const CallSite& site) {
  return out << site.caller << ": " << site.operation << " #" << site.nth;
}

CallerScope::CallerScope(std::string name) : name_(std::move(name)), before_(std::exchange(g_caller, &name_)) {
  g_line = {};
}

CallerScope::~CallerScope() {
  g_caller = before_;
  g_line = {};
}

const std::string& CallerName() {
  return *g_caller;
}

void BeginLogLine() {
  g_line = {true, false, 0};
}

void SweepPlan::Arm(const CallSite& site, Mode mode, std::uint32_t code) {
  const std::lock_guard lock(mutex_);
  armed_ = site;
  mode_ = mode;
  code_ = code;
  hit_ = false;
}

void SweepPlan::Disarm() {
  const std::lock_guard lock(mutex_);
  armed_.reset();
}

bool SweepPlan::hit() const {
  const std::lock_guard lock(mutex_);
  return hit_;
}

unsigned SweepPlan::FailuresOf(const std::string& operation) const {
  const std::lock_guard lock(mutex_);
  const auto found = failed_.find(operation);
  return found == failed_.end() ? 0 : found->second;
}

std::vector<CallSite> SweepPlan::Sites() const {
  const std::lock_guard lock(mutex_);
  return sites_;
}

std::optional<std::uint32_t> SweepPlan::Called(const char* operation) {
  const std::string caller = g_line.open ? *g_caller + " log" : *g_caller;
  if (g_line.open) Follow(operation);
  const std::lock_guard lock(mutex_);
  const CallSite site{caller, operation, ++counts_[{caller, operation}]};
  sites_.push_back(site);
  if (*g_caller == kTest) return std::nullopt;
  if (!armed_) return FaultPlan::Called(operation);
  const bool goes_on = hit_ && mode_ == Mode::kForEver && site.operation == armed_->operation;
  if (site != *armed_ && !goes_on) return FaultPlan::Called(operation);
  hit_ = true;
  ++failed_[site.operation];
  return code_;
}

bool CanFail(const std::string& operation) {
  constexpr std::array<std::string_view, 4> kWithoutResult = {"GetSystemTimePreciseAsFileTime", "HeapFree",
                                                              "OutputDebugStringA", "OutputDebugStringW"};
  for (const std::string_view without : kWithoutResult) {
    if (operation == without) return false;
  }
  return true;
}

}  // namespace varnel::testing
