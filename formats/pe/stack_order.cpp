#include "formats/pe/stack_order.h"

#include <algorithm>

namespace varnel::formats {

UnwindEnd StackOrder::Next(std::uint64_t rsp) {
  if (rsp % 8 != 0) return UnwindEnd::kMisaligned;
  // The pointer of a frame that called nothing yet may stand at the very top.
  const auto holds = [rsp](const StackRange& stack) { return rsp >= stack.low && rsp <= stack.high; };
  const auto found = std::find_if(stacks_.begin(), stacks_.end(), holds);
  if (!stacks_.empty() && found == stacks_.end()) return UnwindEnd::kOffStack;
  const auto stack = static_cast<std::size_t>(found - stacks_.begin());
  const bool same = first_ || stacks_.empty() || stack == current_;
  if (!first_ && same && rsp <= last_) return UnwindEnd::kStackDescends;
  if (!same && visited_[stack]) return UnwindEnd::kStackDescends;
  if (!stacks_.empty()) visited_[stack] = true;
  current_ = stack;
  last_ = rsp;
  first_ = false;
  return UnwindEnd::kNone;
}

}  // namespace varnel::formats
