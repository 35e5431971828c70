// ScratchFolder is a folder of the host that goes with its owner, with all in it, unless it is kept. One thread.
#pragma once

#include <string>

#include "formats/result.h"

namespace varnel::host {

enum class FolderFate { kRemoved, kKept };

class ScratchFolder {
 public:
  /// Makes it where the system keeps such folders, under a name that begins with `name`.
  static formats::Result<ScratchFolder> Make(const std::string& name, FolderFate fate);

  ~ScratchFolder();
  ScratchFolder(ScratchFolder&& other) noexcept;
  ScratchFolder& operator=(ScratchFolder&&) = delete;

  const std::string& path() const { return path_; }

 private:
  ScratchFolder(std::string path, FolderFate fate) : path_(std::move(path)), fate_(fate) {}

  std::string path_;  // empty: moved from
  const FolderFate fate_;
};

}  // namespace varnel::host
