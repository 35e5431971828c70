// The two counts that decide whether the module may be unloaded. Any thread; they change by atomic steps only.
#pragma once

#include <atomic>
#include <cstdint>

namespace varnel {

/// Locks by LockServer. It has no floor: an unlock without a lock wraps it.
extern std::atomic<std::uint32_t> g_dwServerLocks;
/// The sum of the reference counts of all live tool objects and factories.
extern std::atomic<std::uint32_t> g_dwObjectCount;

}  // namespace varnel
