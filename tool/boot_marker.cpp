#include "tool/boot_marker.h"

#include <array>

#include "base/format.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using PathText = std::array<char16_t, kMaxPath>;

char16_t SystemDrive() {
  PathText folder{};
  if (platform::SystemPort().GetSystemDirectoryW(folder.data(), folder.size()) == 0) return u'C';
  return folder[0];
}

// One level after the other. What can't be made shows when the marker is created.
void CreateMarkerFolders(char16_t drive, const char16_t* module_text) {
  platform::Files& files = platform::FilesPort();
  PathText path{};
  FormatTo(path.data(), path.size(), u"%c:\\ProgramData", drive);
  files.CreateDirectoryW(path.data());
  FormatTo(path.data(), path.size(), u"%c:\\ProgramData\\KelvoVarnels", drive);
  files.CreateDirectoryW(path.data());
  FormatTo(path.data(), path.size(), u"%c:\\ProgramData\\KelvoVarnels\\GlobalCfg", drive);
  files.CreateDirectoryW(path.data());
  FormatTo(path.data(), path.size(), u"%c:\\ProgramData\\KelvoVarnels\\GlobalCfg\\%s", drive, module_text);
  files.CreateDirectoryW(path.data());
}

}  // namespace

std::uint32_t CheckThisBootHasExecute(std::uint32_t* bHasExecute) {
  if (bHasExecute == nullptr) return platform::kErrorInvalidParameter;
  platform::Files& files = platform::FilesPort();
  const char16_t drive = SystemDrive();
  std::array<char16_t, kGuidTextCapacity> module_text{};
  GuidToText(GUID_WARDLET_TOOL, module_text.data());
  PathText marker{};
  FormatTo(marker.data(), marker.size(), u"%c:\\ProgramData\\KelvoVarnels\\GlobalCfg\\%s\\_THIS_TIME_EXEC_", drive,
           module_text.data());
  if (files.GetFileAttributesW(marker.data()) != platform::kInvalidFileAttributes) {
    *bHasExecute = 1;
    files.MoveFileExW(marker.data(), nullptr, platform::kMoveFileDelayUntilReboot);
    return platform::kErrorSuccess;
  }
  *bHasExecute = 0;
  CreateMarkerFolders(drive, module_text.data());
  const platform::HANDLE file = files.CreateFileW(marker.data(), platform::kGenericWrite, 0, platform::kCreateAlways,
                                                  platform::kFileAttributeNormal);
  if (file == platform::kInvalidHandleValue) return platform::SystemPort().GetLastError();
  platform::SystemPort().CloseHandle(file);
  files.MoveFileExW(marker.data(), nullptr, platform::kMoveFileDelayUntilReboot);
  return platform::kErrorSuccess;
}

}  // namespace varnel
