// What the four parameters of a stop code mean, for the codes that are met most often. The facts are those of the
// platform's documentation of bug checks. Pure; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace varnel::formats {

/// Set in the code that a small dump holds where the kernel used a form of its own for it. Names and meanings are those
/// of the code without it, but for the few codes that have a public name with it.
inline constexpr std::uint32_t kBugCheckSmallDumpBit = 0x10000000;

/// A short phrase for each parameter; an empty one where the documentation gives none, or calls it reserved.
using BugCheckParameters = std::array<std::string_view, 4>;

/// kBugCheckSmallDumpBit is passed over. All are empty for a code that is not in the table.
BugCheckParameters BugCheckParameterMeanings(std::uint32_t code);

/// True for a code whose parameters are in the table, be it as reserved ones.
bool HasBugCheckParameterMeanings(std::uint32_t code);

}  // namespace varnel::formats
