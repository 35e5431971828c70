#include "host/idle_rule.h"

#include <ctime>

namespace varnel::host {

bool IdleRule::IsIdle(Clock::time_point now, std::uint64_t texts, std::chrono::nanoseconds processor_time) {
  if (span_ == std::chrono::nanoseconds::zero()) return false;
  const bool busy = texts != texts_ || processor_time - processor_time_ >= kProcessorTimeLimit;
  if (!started_ || busy) {
    started_ = true;
    since_ = now;
    texts_ = texts;
    processor_time_ = processor_time;
    return false;
  }
  return now - since_ >= span_;
}

std::chrono::nanoseconds ProcessorTimeUsed() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace varnel::host
