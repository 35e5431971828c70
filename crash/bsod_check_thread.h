// The thread that reports crashes, once for each start. It has no source of crashes yet: it answers for both passes at
// once, so that nobody waits for a report.
#pragma once

#include <cstdint>

namespace varnel {

/// The thread's body; `parameter` is the ConsumerTable. Signals both done events. Always 0.
std::uint32_t BSODCheckThread(void* parameter);

}  // namespace varnel
