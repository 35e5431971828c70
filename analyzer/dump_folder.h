// Where a machine's crash dumps lie, and which files there are dumps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "analyzer/crash_dump_config.h"

namespace varnel {

/// The one folder that is searched under these settings; empty when they tell of none.
std::u16string DumpFolderOf(const CrashDumpConfig& config);

/// The full paths of the *.dmp files, not folders, that stand directly in `folder`, in the order of the file system. A
/// Win32 error number: 2 when there is none.
std::uint32_t FindDumpFiles(const std::u16string& folder, std::vector<std::u16string>* paths);

}  // namespace varnel
