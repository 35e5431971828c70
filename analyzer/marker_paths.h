// Where the marker files lie, and whether a machine has met the module before. Any thread may call, but for
// GetMarkerBasePath and the two that use it: those belong to one thread at a time.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

/// The folder that holds one folder of marker files for each product, with a backslash at its end; empty on failure.
/// The first answer is kept for the life of the process.
std::u16string GetMarkerBasePath() noexcept;

/// Whether the first step is still to be done for this kind of analysis: its marker is not there. HRESULTs: E_POINTER
/// for a null output, E_FAIL when the folder cannot be told.
std::int32_t IsFirstRunNoSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                bool* isFirstRun) noexcept;
std::int32_t IsFirstRunWithSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                  bool* isFirstRun) noexcept;

/// The folder of a product's marker files, without a backslash at its end, and one of those files. Empty when the
/// folder cannot be told. For want of memory they throw, since an empty path reads as a marker without lines, and a
/// line that is added to it would take the place of all others.
std::u16string MarkerFolderOf(const std::u16string& productGuid);
std::u16string MarkerFileOf(const std::u16string& productGuid, const std::u16string& markerFileName);

/// Whether a marker stands below a base path: a file, since a folder of that name is none.
bool MarkerStandsBelow(const std::u16string& base, const std::u16string& productGuid,
                       const std::u16string& markerFileName);

}  // namespace varnel
