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

/// Whether a marker stands below a base path: a file, since a folder of that name is none.
bool MarkerStandsBelow(const std::u16string& base, const std::u16string& productGuid,
                       const std::u16string& markerFileName);

}  // namespace varnel
