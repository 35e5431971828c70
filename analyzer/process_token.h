// Who this process runs as.
#pragma once

namespace varnel {

/// Whether the process may change the machine's settings. False also when that cannot be told. Any thread may call.
bool IsCurrentProcessElevated();

}  // namespace varnel
