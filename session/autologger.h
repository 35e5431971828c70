// The AutoLogger: the trace session that the operating system starts at boot from registry keys, so that the providers
// are recorded from the earliest moment. Registration writes one session key and a sub-key for each provider; it starts
// no session by itself. All results are Win32 error numbers, 0 for success, unless said otherwise. Runs on the host's
// thread and takes no lock; nothing guards against a second writer of the same keys.
//
// Registry values: "Configuring and Starting an AutoLogger Session", Windows SDK documentation.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"

namespace varnel {

/// Creates or rewrites the session key with its eleven values. 87 without `sessionGuid` or `logFileName`. A null or
/// empty `sessionName` stands for the braced GUID text. With a `providerGuid`, that provider is registered last.
std::uint32_t CreateAutoLoggerSession(const GUID* sessionGuid, const GUID* providerGuid, const char16_t* logFileName,
                                      std::uint8_t level, std::uint64_t keywords, const char16_t* sessionName);

/// Writes one provider's sub-key. 87 without both GUIDs, 2 when the session's key is missing. `keywords` is not used:
/// every keyword is enabled whatever is passed.
std::uint32_t CreateAutoLoggerProvider(const GUID* sessionGuid, const GUID* providerGuid, std::uint8_t level,
                                       std::uint64_t keywords, const char16_t* sessionName);

/// Removes one provider's sub-key, and the session's key when that leaves no provider. What is already gone counts as
/// removed. 87 without both GUIDs.
std::uint32_t DeleteAutoLoggerProvider(const GUID* sessionGuid, const GUID* providerGuid, const char16_t* sessionName);

/// Registers the session and all seven providers. On failure what was written is removed again and the code of the
/// step that failed is returned (0x90000000 when the system folder is not known).
std::uint32_t EtwConsumerInstall();

/// Removes all seven providers, and so the session. Goes on after a failure and returns the last one, or 0.
std::uint32_t EtwAutoLoggerUninstall();

}  // namespace varnel
