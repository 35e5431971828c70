#include "tool/module_counters.h"

namespace varnel {

constinit std::atomic<std::uint32_t> g_dwServerLocks{0};
constinit std::atomic<std::uint32_t> g_dwObjectCount{0};

}  // namespace varnel
