// Makes allocations inside cJSON fail. The hooks are set once for the process and forward to malloc; they are armed for
// the calling thread alone.
#pragma once

#include <cstddef>

namespace varnel::testing {

class FailingJsonAllocation {
 public:
  enum class Length { kOnce, kForEver };
  /// The `nth` allocation of the scope (from 1) gives null, and with kForEver so do all behind it.
  FailingJsonAllocation(unsigned nth, Length length);
  ~FailingJsonAllocation();
  FailingJsonAllocation(const FailingJsonAllocation&) = delete;
  FailingJsonAllocation& operator=(const FailingJsonAllocation&) = delete;

  /// Whether an allocation has failed.
  bool Happened() const;
};

/// Blocks that cJSON holds, over all threads.
int LiveJsonBlocks();

}  // namespace varnel::testing
