// A fault plan that lets a test act at a told moment of another's work: right behind one call of a port, before the
// caller goes on.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fault_plan.h"

namespace varnel::testing {

class HookedPlan : public FaultPlan {
 public:
  /// Runs `act` once, on the calling thread, when the `nth` call (from 1, counted from now) of the operation has been
  /// made. `act` may call the ports, and holds no lock of the plan. A call whose thread is ended inside of it runs
  /// nothing.
  void After(const std::string& operation, unsigned nth, std::function<void()> act);

  std::optional<std::uint32_t> Called(const char* operation) override;
  void Enter() override;
  void Leave() override;

 private:
  struct Hook {
    std::string operation;
    unsigned calls_left;
    std::function<void()> act;
  };

  std::mutex hooks_mutex_;
  std::vector<Hook> hooks_;
  // What is to be done behind each thread's calls that are under way, the innermost last. No thread-local object, since
  // mingw takes its memory away before its destructor runs.
  std::map<std::thread::id, std::vector<std::function<void()>>> under_way_;
};

}  // namespace varnel::testing
