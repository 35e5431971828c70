// wardlet machine crash: ends a machine's boot as a crash does. One thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "formats/result.h"
#include "host/machine_dump.h"
#include "platform/embedded/tools/crash_mark.h"

namespace varnel::host {

/// Ends the boot unclean: what the trace sessions had not written yet is gone, their files keep no end, and the next
/// boot logs the crash. An Error, and a machine as it was, while a module runs on it.
formats::Status CrashTheMachine(const std::string& folder, const embedded::CrashFacts& facts);

/// The same, and then a dump is left; what the machine says of dumps is not changed. An Error also when the dump could
/// not be written; the boot has ended all the same.
formats::Result<LeftDump> CrashTheMachineWithDump(const std::string& folder, const embedded::CrashFacts& facts,
                                                  embedded::CrashDumpForm form);

/// "CODE" or "CODE,P1,..." with up to four parameters.
formats::Result<embedded::CrashFacts> ParseBugcheck(const std::string& text);

/// A number as a command line has it, decimal or "0x…".
formats::Result<std::uint64_t> ParseNumber(const std::string& text);

}  // namespace varnel::host
