// Paths: environment strings in them, their folders, and names for new trace files. No state: any thread may call.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/guid.h"

namespace varnel {

/// Expands %NAME% in a path. 0, or the last error as an HRESULT, 0x8007000E without memory; `output` is then untouched.
std::uint32_t ExpandEnvironmentPath(const char16_t* input, std::u16string* output);

/// Creates a folder and every missing folder above it. 0; 0x80070057 for an empty path; 0x80004005 when the path or a
/// part of it is a file; the last error as an HRESULT, which is logged, when a folder cannot be created.
std::uint32_t EnsureDirectoryExists(const char16_t* path);

/// Forms a new file name on the system drive into a buffer of 260 characters. `format` begins with a dummy drive
/// letter and has two %s: the text of `guid` and that of a fresh GUID. 0, or the last error when the system folder is
/// not known. `capacity` is taken and ignored.
std::uint32_t GenericUniqueTempSessionLogFile(char16_t* path, std::uint32_t capacity, const char16_t* format,
                                              const GUID* guid);

}  // namespace varnel
