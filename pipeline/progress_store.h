// The progress store: the position of every consumer, in the registry under
// HKEY_LOCAL_MACHINE\SOFTWARE\KelvoCLSID\GlobalCfg\{module}\{provider}\KeyWords, one binary value for each keyword. It
// outlives stop, restart and reboot; no flush is asked for, so it is as durable as the registry's own lazy writing.
// Any thread may call; each consumer writes only its own value.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"
#include "platform/types.h"

namespace varnel {

/// A consumer's position, stored as it stands in memory (little-endian). The last four bytes are padding that nobody
/// sets.
struct ProviderModuleCounter {
  std::uint64_t dwKeyWord;    // its low three bits are clear
  std::uint64_t dwTimeStamp;  // of the last delivered event, FILETIME
  std::uint32_t dwCounter;    // likewise
};
static_assert(sizeof(ProviderModuleCounter) == 24);

/// Reads every record of a provider; the caller frees *records with System::HeapFree (null for none). Creates the keys
/// that are missing. 0, 87 for a null argument, 13 for a value whose name and content disagree, 14 when memory runs
/// out, or the registry's error; *records is then null and *count 0.
std::uint32_t GetTargetProviderModulesCounter(const GUID* providerGuid, ProviderModuleCounter** records,
                                              std::uint32_t* count);

/// Writes one record. *hKey is null at the first call; the key is then opened and stays in it, for the caller to close.
/// 0, 87 for a null argument, or the registry's error.
//
// When the first write on a new key fails, the key is closed and *hKey keeps it: the later writes of that consumer go
// to the closed key and fail. The position then stays in memory until the next start reads the stored one.
std::uint32_t SaveProviderModuleCounter(const GUID* providerGuid, const ProviderModuleCounter* record,
                                        platform::HKEY* hKey);

}  // namespace varnel
