// The setup of the machine's crash dumps at install and at the analyzer's start (BsodAnalyzer::ConfigureBsodDump), so
// that dumps and crash events are written at all. It is switched off: the module reads those settings and leaves them
// as they are.
#pragma once

#include <cstdint>
#include <string>

#include "analyzer/crash_dump_config_manager.h"

// Only the setup's own tests compile it switched on.
#if !defined(VARNEL_BSOD_INSTALL_CONFIG_ENABLED)
#define VARNEL_BSOD_INSTALL_CONFIG_ENABLED false
#endif

namespace varnel {

/// Whether the module may change the machine's crash-dump settings.
constexpr bool BsodInstallConfigEnabled = VARNEL_BSOD_INSTALL_CONFIG_ENABLED;

/// For the install step. Switched off: 0, with nothing asked or changed, whatever `productGuid` is.
///
/// Switched on: keeps a backup of the settings, once; turns small dumps on where there were none; has crashes logged
/// and the machine restart. E_INVALIDARG for an empty `productGuid`, E_ACCESSDENIED in a process that is not elevated,
/// else what the first failing step gave; from the dumps on a failure puts the settings back.
std::int32_t SetBsodInstallConfig(const char16_t* productGuid) noexcept;

}  // namespace varnel
