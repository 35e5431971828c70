// Call sites: which thread makes which call of the platform for the how-manieth time. With one thread computing at a
// time a scenario makes the same calls in each run, so that a site found in an unharmed run can be made to fail in the
// next.
#pragma once

#include <compare>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fault_plan.h"

namespace varnel::testing {

/// `caller`: "install", "start", "stop", "uninstall", "crash", "live", "leak", or "consumer 0x80" by the keyword; with
/// " log" behind it for the calls that write a line of the log. `nth` counts from 1 for this caller and operation.
struct CallSite {
  std::string caller;
  std::string operation;
  unsigned nth = 1;

  auto operator<=>(const CallSite&) const = default;
  bool IsLog() const { return caller.ends_with(" log"); }
};
std::ostream& operator<<(std::ostream& out, const CallSite& site);

/// Names the calling thread in its call sites, for its scope.
class CallerScope {
 public:
  explicit CallerScope(std::string name);
  ~CallerScope();
  CallerScope(const CallerScope&) = delete;
  CallerScope& operator=(const CallerScope&) = delete;

 private:
  const std::string name_;
  const std::string* const before_;
};

/// The name of the calling thread, without what it does at the moment.
const std::string& CallerName();

/// Notes that the calling thread begins to write a line of the log.
void BeginLogLine();

/// Faults of the base stand beside the armed one.
class SweepPlan : public FaultPlan {
 public:
  enum class Mode { kOnce, kForEver };

  /// The call at `site` fails with `code`; with kForEver all later calls of the operation, by whomever, fail as well.
  void Arm(const CallSite& site, Mode mode, std::uint32_t code);
  void Disarm();
  /// Whether the armed call was made.
  bool hit() const;
  /// How many calls of an operation have failed.
  unsigned FailuresOf(const std::string& operation) const;
  /// The sites in the order of their calls.
  std::vector<CallSite> Sites() const;

  std::optional<std::uint32_t> Called(const char* operation) override;

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, unsigned> counts_;
  std::map<std::string, unsigned> failed_;
  std::vector<CallSite> sites_;
  std::optional<CallSite> armed_;
  Mode mode_ = Mode::kOnce;
  std::uint32_t code_ = 0;
  bool hit_ = false;
};

/// Operations without a result cannot fail.
bool CanFail(const std::string& operation);

}  // namespace varnel::testing
