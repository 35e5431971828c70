// FaultPlan decides which calls of the ports fail, and remembers what was called. The decorators ask it before they
// forward a call. Any thread may call.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace varnel::testing {

/// The `nth` call (from 1) of an operation, named as the port names it, fails with `code`: an error number of the
/// operation's family, which becomes its result or the last error. `persistent`: all later calls fail too.
struct Fault {
  std::string operation;
  unsigned nth = 1;
  bool persistent = false;
  std::uint32_t code = 31;
};

class FaultPlan {
 public:
  FaultPlan() = default;
  virtual ~FaultPlan() = default;
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  void Fail(Fault fault);
  void Fail(const std::string& operation, std::uint32_t code) { Fail(Fault{operation, 1, false, code}); }
  void FailForEver(const std::string& operation, std::uint32_t code) { Fail(Fault{operation, 1, true, code}); }
  /// Forgets faults and counts.
  void Clear();

  /// Records one call. The code with which it has to fail, if it has to. Faults count from when they were added.
  virtual std::optional<std::uint32_t> Called(const char* operation);

  /// Stand around each call, what the port below does included.
  virtual void Enter() {}
  virtual void Leave() {}

  unsigned CountOf(const std::string& operation) const;
  /// How often each operation was called.
  std::map<std::string, unsigned> Counts() const;
  /// The operations in the order of their calls.
  std::vector<std::string> Calls() const;
  /// How many calls have failed by this plan.
  unsigned failures() const;

 private:
  struct Armed {
    Fault fault;
    unsigned seen = 0;
  };

  mutable std::mutex mutex_;
  std::vector<Armed> faults_;
  std::map<std::string, unsigned> counts_;
  std::vector<std::string> calls_;
  unsigned failures_ = 0;
};

}  // namespace varnel::testing
