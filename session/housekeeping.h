// Housekeeping of the trace files that the module's sessions leave behind in the system's WMI log folder: which files
// are the module's own, and the deletion of those that no session is writing. It errs on the side of keeping a file.
// Runs on the thread that reads left-over files, without a lock; the running session's file is protected by its path
// alone. Results are Win32 error numbers, 0 for success, unless said otherwise.
//
// The two kinds: a temporary session's files (KWDTempTrace, module GUID, fresh GUID, ".etl") and the AutoLogger's
// (KWDAutoTrace, module GUID, ".etl.", rotation number in three digits).
#pragma once

#include <cstdint>

namespace varnel {

/// Sets `*outIsOurs` to 1 when the path bears the folder, prefix, module GUID (all without regard to case) and length
/// of a file of the kind (`isTempSession` 1: temporary, 0: AutoLogger), else to 0. What stands behind the module's GUID
/// is compared by length only. 0, or the code with which no model name could be made.
std::uint32_t CheckIsOurEtwLogFiles(const char16_t* filePath, std::uint32_t isTempSession, std::uint32_t* outIsOurs);

/// Callbacks for EnumTargetDirFile: delete the file when it is of the kind and is not `keepPath` (wide text, compared
/// without regard to case). 0 to go on, else the code that ends the walk. 87 for a null `filePath`; for the AutoLogger
/// kind also for a null `keepPath`.
std::uint32_t DeleteTempSessionLogFiles(const char16_t* filePath, void* keepPath);
std::uint32_t DeleteAutoSessionLogFiles(const char16_t* filePath, void* keepPath);

/// Deletes every temporary file in the folder but the one that the running session writes. Without a running session
/// nothing is deleted. 0 also when a file could not be deleted.
std::uint32_t DeleteAllTempSessionLogFiles(const char16_t* folder);

/// Deletes every AutoLogger file in the folder but the one that the running session writes, provided that this is the
/// AutoLogger's file of the registered rotation number; else nothing is deleted and the result is 31. 87 for a null
/// `folder`; the last error when the system folder is not known; else what ended the walk, which stops at the first
/// file that can't be deleted.
std::uint32_t DeleteAllAutoSessionLogFiles(const char16_t* folder);

}  // namespace varnel
