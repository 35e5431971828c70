// Folders with all above them, or with all below them. The system has calls for single folders only (its shell's ask
// the user). Win32 error numbers, 0 for success, also where there was nothing to do. Any thread may call.
#pragma once

#include <cstdint>

namespace varnel::windows {

/// Makes a folder and what is missing above it. 183 when something else stands there.
std::uint32_t CreateFolderTree(const char16_t* path);

/// Deletes a folder with everything in it. A link to a folder is deleted itself, never what it leads to. Stops at the
/// first thing that can't be deleted.
std::uint32_t RemoveFolderTree(const char16_t* path);

}  // namespace varnel::windows
