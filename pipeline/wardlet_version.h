// The module's version: four numbers for the host's version record, three of them as text in every JSON text.
#pragma once

#include <cstdint>

struct cJSON;

namespace varnel {

inline constexpr std::uint16_t kVersionMajor = 1;
inline constexpr std::uint16_t kVersionMinor = 0;
inline constexpr std::uint16_t kVersionBuild = 2;
inline constexpr std::uint16_t kVersionRevision = 28;

/// "1.0.2". Lives for ever; any thread.
const char* WardletVersionText();

/// Adds the key "WardletVersion" with that text. A null object does nothing.
void AddWardletVersion(cJSON* json);

}  // namespace varnel
