#include <sys/stat.h>

#include <cerrno>

#include "host/file_look.h"

namespace varnel::host {

FileLook LookAt(const std::filesystem::path& path) {
  struct stat seen = {};
  FileLook look;
  if (::stat(path.c_str(), &seen) != 0) {
    look.error = std::error_code(errno, std::generic_category());
    return look;
  }
  look.kind = FileKind::kOther;
  if (S_ISDIR(seen.st_mode)) look.kind = FileKind::kFolder;
  if (S_ISREG(seen.st_mode)) {
    look.kind = FileKind::kPlainFile;
    look.size = static_cast<std::uint64_t>(seen.st_size);
  }
  return look;
}

}  // namespace varnel::host
