// StackOrder holds the frames of a walk to what stacks are like: a caller's frame lies above its callee's.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "formats/pe/unwind_end.h"
#include "formats/pe/unwinder.h"

namespace varnel::formats {

/// One for each walk. The ranges must outlive it.
class StackOrder {
 public:
  explicit StackOrder(std::span<const StackRange> stacks) : stacks_(stacks), visited_(stacks.size()) {}

  /// Takes the next frame's stack pointer. @return kNone, kMisaligned, kOffStack, kStackDescends.
  UnwindEnd Next(std::uint64_t rsp);

 private:
  std::span<const StackRange> stacks_;
  std::vector<bool> visited_;
  bool first_ = true;
  std::size_t current_ = 0;  // the stack of the last frame; meaningless without stacks
  std::uint64_t last_ = 0;
};

}  // namespace varnel::formats
