// The temporary session: a trace session of the module's name that is started for a boot in which the AutoLogger's does
// not run. It outlives the call and the process; nothing here stops a session that was started with success. Results
// are Win32 error numbers, 0 for success, or 0x90000000 where told. No lock, no module-wide state: any thread may call.
//
// Block layout: EVENT_TRACE_PROPERTIES, Windows SDK documentation.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"
#include "platform/types.h"

namespace varnel {

/// The name of a temporary session's trace file: a dummy drive letter, then the module's GUID and a fresh one.
inline constexpr char16_t kTempSessionLogFileFormat[] = u"X:\\Windows\\System32\\LogFiles\\WMI\\KWDTempTrace%s%s.etl";

/// Starts the session into a new trace file with all seven providers at level 5 and every keyword. 0x90000000 for a
/// null `outHandle` or when no file name can be made; else StartTraceSessionWithProviders' result. The handle is the
/// session's and needs no close.
std::uint32_t CreateTempSession(platform::TRACEHANDLE* outHandle);

/// Starts a session and enables `count` providers in it, in order; null entries are passed over. 87 for a null argument
/// or a count of 0, 14 without memory, StartTraceW's code (183 when a session of that name runs), or the code of the
/// first provider that can't be enabled: then the session is stopped again and `*outHandle` is 0.
std::uint32_t StartTraceSessionWithProviders(platform::TRACEHANDLE* outHandle, const GUID* const* providers,
                                             std::uint32_t count, const GUID* sessionGuid, const char16_t* sessionName,
                                             const char16_t* logFileName, std::uint8_t level, std::uint64_t keywords);

/// 1 when a session of that name runs, else 0; a query that fails reads as 0 too. The path of its trace file goes to
/// `logPath` (`capacity` characters, NUL included, cut if need be); a session without a file leaves it as it was.
std::uint32_t CheckTraceSessionExists(const char16_t* sessionName, char16_t* logPath, std::uint32_t capacity);

}  // namespace varnel
