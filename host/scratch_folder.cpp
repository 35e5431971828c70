#include "host/scratch_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace varnel::host {

namespace fs = std::filesystem;

formats::Result<ScratchFolder> ScratchFolder::Make(const std::string& name, FolderFate fate) {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) return formats::Error{"no place for temporary folders: " + error.message()};
  std::string pattern = (place / (name + ".XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) return formats::Error{pattern + ": " + std::strerror(errno)};
  return ScratchFolder(std::move(pattern), fate);
}

ScratchFolder::ScratchFolder(ScratchFolder&& other) noexcept
    : path_(std::exchange(other.path_, {})), fate_(other.fate_) {}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  if (!path_.empty() && fate_ == FolderFate::kRemoved) fs::remove_all(path_, ignored);
}

}  // namespace varnel::host
