// A DumpSummary as text for a person. Pure; any thread.
#pragma once

#include <string>

#include "host/dump_summary.h"

namespace varnel::host {

/// Lines, each with its end. What the dump does not have is left out or said so; nothing is shown as a zero.
std::string DumpAsText(const DumpSummary& summary);

}  // namespace varnel::host
