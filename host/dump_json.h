// A DumpSummary as one line of JSON. docs/schemas/dump-info.schema.json fixes the keys. Pure; any thread.
#pragma once

#include <string>

#include "host/dump_summary.h"

namespace varnel::host {

/// Without a line's end; empty when there was no memory for it.
std::string DumpAsJson(const DumpSummary& summary);

}  // namespace varnel::host
