// What stands at a path, without opening it: a pipe would be waited for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace varnel::host {

enum class FileKind { kNone, kFolder, kPlainFile, kOther };

struct FileLook {
  FileKind kind = FileKind::kNone;
  std::uint64_t size = 0;  // bytes, of a plain file
  std::error_code error;   // why nothing is seen
};

/// Follows links. On Windows it takes every form of a path that the system takes, the long form too, which the standard
/// library there refuses.
FileLook LookAt(const std::filesystem::path& path);

}  // namespace varnel::host
