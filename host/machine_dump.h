// The dump that a simulated crash leaves: what the machine's CrashControl values say of its kind and place, and the
// writing of it. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/crashdump/crash_dump.h"
#include "platform/embedded/tools/crash_mark.h"

namespace varnel::host {

/// "small", "kernel" or "complete".
std::optional<embedded::CrashDumpForm> DumpFormByName(const std::string& name);

/// What CrashDumpEnabled says for a form: 3 small, 2 kernel, 1 complete.
std::uint32_t CrashDumpType(embedded::CrashDumpForm form);

/// Writes CrashDumpEnabled, as somebody does who wants dumps of that form from now on.
formats::Status ChooseDumpForm(const std::string& folder, embedded::CrashDumpForm form);

struct LeftDump {
  std::string windows_path;
  bool old_one_kept = false;  // a dump was there, and Overwrite says that it stays
};

/// Writes the dump of a crash that happens now: a small one into the folder that MinidumpDir names, under a name of its
/// own, others to the file that DumpFile names. Folders are made as they are needed. The same values give the same
/// dump, but for the times.
formats::Result<LeftDump> LeaveDump(const std::string& folder, const embedded::CrashFacts& facts,
                                    embedded::CrashDumpForm form);

}  // namespace varnel::host
