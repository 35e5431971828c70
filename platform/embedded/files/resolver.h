// From Windows paths to the host's. Each name is looked for as it is written first, then without regard to case. No
// road leads out of a drive's folder: a symbolic link is followed only to a place below it, or, for reading, as the
// machine's own table of links tells (link_table.h). No state; any thread.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/files/windows_path.h"

namespace varnel::embedded {

/// Where a Windows path stands on the host.
struct HostPath {
  std::string path;         // the present file or folder, or where it would be made
  std::string name;         // what the host calls the last name of a present file or folder; empty for a drive
  bool exists = false;      // false: all but the last name exist
  struct stat status = {};  // of what exists
  WindowsPath windows;
  /// For a link out of the drive: its creation time, 100 ns since 1601. Nothing that stands there may be changed.
  std::optional<std::uint64_t> link_creation;

  bool IsFolder() const { return exists && S_ISDIR(status.st_mode); }
  bool IsLinkOut() const { return link_creation.has_value(); }
};

/// Whether two looks saw one file.
bool IsSameFile(const struct stat& a, const struct stat& b);

/// 0, or the Win32 error: 3 when the drive or a folder on the way is missing, 123 and others as ParseWindowsPath tells,
/// 5 for a link that leads out of the drive and is none of the machine's, 2 for one of the machine's whose target is
/// gone.
std::uint32_t ResolvePath(const Machine& machine, std::u16string_view windows_path, HostPath* result);

/// The same for callers that tell a person: the error names the path and the Win32 error.
formats::Result<HostPath> Resolve(const Machine& machine, std::u16string_view windows_path);

/// A host's file name as a Windows name; none when it can't be one, and then the file is never listed.
std::optional<std::u16string> WindowsName(std::string_view host_name);

/// The Win32 error for what a call of the host's answered in errno.
std::uint32_t Win32Error(int host_error);

}  // namespace varnel::embedded
