// Image files of this machine, laid out as a loader lays them out in memory.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "tests/support/etl_bytes.h"

namespace varnel::support {

/// The image as it would lie in memory, unrelocated; nothing for a file that is no 64-bit image for x64.
std::optional<Blob> MapPeFile(const std::filesystem::path& path);

/// 64-bit DLLs that come with the tools of this machine, where it has them; at most `limit`.
std::vector<std::filesystem::path> SystemPeFiles(std::size_t limit);

}  // namespace varnel::support
