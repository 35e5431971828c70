// The lists of a small dump: what was loaded, what had gone. Pure; any thread.
#pragma once

#include <vector>

#include "formats/dump/dump_records.h"
#include "formats/dump/dump_source.h"
#include "formats/dump/triage_block.h"

namespace varnel::formats {

/// What a list may have at most, of any form of dump.
inline constexpr std::size_t kMaxListedModules = 65'536;

/// Ends at the first entry that the file does not hold whole.
std::vector<DumpModule> ReadTriageModules(const DumpSource& source, const TriageBlock& block);
/// At most 50, which is what a kernel remembers.
std::vector<DumpUnloadedModule> ReadTriageUnloaded(const DumpSource& source, const TriageBlock& block);

}  // namespace varnel::formats
