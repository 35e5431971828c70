#include "platform/embedded/registry/copy_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {
namespace {

class HostCopyFile : public CopyFile {
 public:
  explicit HostCopyFile(UniqueFd file) : file_(std::move(file)) {}

  int Write(std::span<const std::byte> bytes) override {
    while (!bytes.empty()) {
      const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return written < 0 ? errno : ENOSPC;
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return 0;
  }

  int Sync() override { return ::fsync(file_.get()) == 0 ? 0 : errno; }

 private:
  UniqueFd file_;
};

class HostIo : public CopyIo {
 public:
  std::unique_ptr<CopyFile> Create(const std::string& path, int* error) override {
    UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.valid()) {
      *error = errno;
      return nullptr;
    }
    return std::make_unique<HostCopyFile>(std::move(file));
  }

  int Rename(const std::string& from, const std::string& to) override {
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
  }

  int SyncFolder(const std::string& path) override {
    const UniqueFd folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.valid()) return errno;
    return ::fsync(folder.get()) == 0 ? 0 : errno;
  }
};

}  // namespace

CopyIo& HostCopyIo() {
  static HostIo* const io = new HostIo;
  return *io;
}

}  // namespace varnel::embedded
