// The stack of the processor that crashed, walked by the unwind data of images whose pages are in the dump. It ends
// where it can't go on honestly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "formats/pe/unwinder.h"
#include "platform/embedded/debugger/target_modules.h"

namespace varnel::embedded {

/// Where a walk begins, in place of what the crashed processor's registers say; 0: as they say.
struct WalkStart {
  std::uint64_t frame = 0;
  std::uint64_t stack = 0;
  std::uint64_t instruction = 0;
};

/// At most `limit` frames, the first is where the walk began. None when the dump has no registers. One thread at a
/// time.
std::vector<formats::UnwoundFrame> WalkStack(const formats::KernelDump& dump, const TargetModules& modules,
                                             const WalkStart& start, std::size_t limit);

}  // namespace varnel::embedded
