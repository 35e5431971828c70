// Attributes and times of a machine's files, as the host keeps them.
//
// A file is read-only when it has none of the host's write bits. What the host has no place for stands in extended
// attributes (user.varnel.attributes: hexadecimal; user.varnel.created: 100 ns since 1601, decimal), and only where it
// differs from what every file has. On a file system without extended attributes those stay at what every file has. No
// state.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/files.h"
#include "platform/types.h"

namespace varnel::embedded {

/// In 100 ns since 1601, UTC.
struct FileTimes {
  std::uint64_t creation = 0;
  std::uint64_t last_access = 0;
  std::uint64_t last_write = 0;
};

/// What every link out of a drive has, whatever the file that it leads to has.
inline constexpr std::uint32_t kLinkAttributes = platform::kFileAttributeReadonly | platform::kFileAttributeArchive;

/// The attributes as the platform tells them; never 0.
std::uint32_t AttributesOf(const std::string& host_path, const struct stat& status);
/// 0, or a Win32 error.
std::uint32_t SetAttributes(const std::string& host_path, const struct stat& status, std::uint32_t attributes);

/// Whether a file is marked read-only, which the platform holds against everybody. False for a folder.
bool IsReadOnly(const struct stat& status);

/// Zeroes when the host can't tell.
FileTimes TimesOf(const std::string& host_path);
/// Sets those that are not null. 0, or a Win32 error.
std::uint32_t SetTimes(const std::string& host_path, const platform::FILETIME* creation,
                       const platform::FILETIME* last_access, const platform::FILETIME* last_write);

}  // namespace varnel::embedded
