#include <windows.h>

#include "host/file_look.h"

namespace varnel::host {
namespace {

std::error_code WhyNothingIsSeen() {
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  return std::error_code(static_cast<int>(error), std::system_category());
}

}  // namespace

FileLook LookAt(const std::filesystem::path& path) {
  FileLook look;
  WIN32_FILE_ATTRIBUTE_DATA seen;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &seen)) {
    look.error = WhyNothingIsSeen();
  } else if ((seen.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    look.kind = FileKind::kFolder;
  } else if ((seen.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) != 0) {
    look.kind = FileKind::kOther;
  } else {
    look.kind = FileKind::kPlainFile;
    look.size = std::uint64_t{seen.nFileSizeHigh} << 32 | seen.nFileSizeLow;
  }
  return look;
}

}  // namespace varnel::host
