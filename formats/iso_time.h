// Times as event logs write them, read back: "2026-11-21T15:08:00.1234567Z". Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel::formats {

/// The time as a count of 100 ns since 1601, UTC. The fraction may have any number of digits, of which seven count, or
/// be missing; so may the "Z". @return nothing for a text that is no time of the years 1601 to 30827.
std::optional<std::uint64_t> ParseIsoTime(std::string_view text);

}  // namespace varnel::formats
