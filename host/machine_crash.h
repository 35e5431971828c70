// wardlet machine crash: ends a machine's boot as a crash does. One thread.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "platform/embedded/tools/crash_mark.h"

namespace varnel::host {

/// Ends the boot unclean: what the trace sessions had not written yet is gone, their files keep no end, and the next
/// boot logs the crash. An Error, and a machine as it was, while a module runs on it.
formats::Status CrashTheMachine(const std::string& folder, const embedded::CrashFacts& facts);

/// A number as a command line has it, decimal or "0x…".
formats::Result<std::uint64_t> ParseNumber(const std::string& text);

}  // namespace varnel::host
