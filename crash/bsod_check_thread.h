// The thread that tells the host about crashes, once for each start: first the crash events of the System log, then
// what the dump analyzer has to report, and in a boot that was not handled yet an empty report for each pass of it that
// was asked for and brought none.
#pragma once

#include <cstdint>

namespace varnel {

/// The thread's body; `parameter` is the ConsumerTable. Ends by itself: 0; 87 for a null parameter; 87, 14 or 31 when
/// the analyzer could not be made; 1223 when it was stopped, 31 when it could not be started. Behind each end with 0
/// both done events are signalled.
std::uint32_t BSODCheckThread(void* parameter);

}  // namespace varnel
