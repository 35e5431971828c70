// The envelope of the texts that the module itself writes, those of crashes: the keys that stand in front of the one
// that tells what happened.
#pragma once

#include <cstdint>

struct cJSON;

namespace varnel {

/// The working room of a hexadecimal number or a time as text, NUL included.
inline constexpr std::uint32_t kCrashTextCapacity = 260;

/// The machine's clock in its finest resolution, as a FILETIME count.
std::uint64_t PreciseTimeNow();

/// Adds the envelope for that time, as told by that function, to an object; a key for which there is no memory is left
/// out. `time_text` takes the time as text (kCrashTextCapacity characters), for a line of the log.
void AddCrashEnvelope(cJSON* json, std::uint64_t time, const char* function, char* time_text);

}  // namespace varnel
