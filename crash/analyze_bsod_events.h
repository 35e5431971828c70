// The crashes of the System log, told to the host: each of them at most once. For the crash thread, once for each
// start.
#pragma once

#include <cstdint>

#include "pipeline/consumer_table.h"

namespace varnel {

/// Reads the log's new crash events, pairs each with the boots around it and tells the host of each; without any, in a
/// boot that has not yet run the module, it tells the host that there was none. Then brings the time mark to the disk.
/// 0; 87 for a null table or one without a callback; the code of the reading or of the text that failed: crashes that
/// are not told by then never are, unless it was the reading. Calls the host on this thread.
std::uint32_t AnalyzeBSODEvents(const ConsumerTable* table);

}  // namespace varnel
