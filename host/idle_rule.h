// IdleRule decides when a run has nothing more to do: for the given time no text came and the process used less than
// 50 ms of processor time. The clocks are handed in. One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>

namespace varnel::host {

class IdleRule {
 public:
  using Clock = std::chrono::steady_clock;

  /// `span` of zero: never idle.
  explicit IdleRule(std::chrono::nanoseconds span) : span_(span) {}

  /// Takes a look. `texts` and `processor_time` are totals that only grow. True when the run is idle.
  bool IsIdle(Clock::time_point now, std::uint64_t texts, std::chrono::nanoseconds processor_time);

  static constexpr std::chrono::milliseconds kProcessorTimeLimit{50};

 private:
  const std::chrono::nanoseconds span_;
  bool started_ = false;
  Clock::time_point since_;
  std::uint64_t texts_ = 0;
  std::chrono::nanoseconds processor_time_{0};  // at `since_`
};

/// What the calling process has used of the processors so far.
std::chrono::nanoseconds ProcessorTimeUsed();

}  // namespace varnel::host
