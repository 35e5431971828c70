// Files by name: comparison and copy between two folders, and a walk over one folder. Paths are wide texts;
// fixed buffers hold 260 characters. No state: any thread may call.
#pragma once

#include <cstdint>

namespace varnel {

/// Compares the file of that name in two folders by MD5 (base/file_digest.h). 0, or 0x90000000 when one of the digests
/// cannot be taken. A file that is absent from the target is no failure, whether the source has it or not: both outputs
/// are then 0.
std::uint32_t CompareFileInDirs(const char16_t* sourceDir, const char16_t* targetDir, const char16_t* fileName,
                                std::uint32_t* existsInTarget, std::uint32_t* sameContent);

/// Copies the file of that name from one folder to another. 0, or E_FAIL (0x80004005), which is logged.
std::uint32_t WrapCopyFile(const char16_t* sourceDir, const char16_t* targetDir, const char16_t* fileName,
                           std::uint32_t failIfExists);

/// 0 to go on with the walk; anything else ends it and becomes its result.
using EnumFileCallback = std::uint32_t (*)(const char16_t* fullPath, void* context);

/// Calls back for each file, not folder, that stands directly in `dir`, in the order of the file system. 0, a Win32
/// error number, or the callback's result; 87 for a null argument or a `dir` of 0 or more than 256 characters.
std::uint32_t EnumTargetDirFile(const char16_t* dir, EnumFileCallback callback, void* context);

}  // namespace varnel
