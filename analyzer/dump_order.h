// The order in which crash dumps are taken: the newest first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varnel {

/// Sorts full paths by the creation times of their files, the greatest first, and at equal times by the characters of
/// the path. Files whose time cannot be told stand behind all others, in no defined order. 0; E_OUTOFMEMORY, with the
/// paths as they were. Any thread may call.
std::int32_t SortDumpsNewestFirst(std::vector<std::u16string>* paths) noexcept;

}  // namespace varnel
