#include "platform/embedded/tdh/manifest_file.h"

namespace varnel::embedded {
namespace {

std::uint32_t ReadOpenFile(platform::Files* files, platform::System* system, platform::HANDLE file,
                           std::vector<std::byte>* bytes) {
  std::uint64_t size = 0;
  if (!files->GetFileSizeEx(file, &size)) return system->GetLastError();
  if (size > 0xFFFFFFFF) return platform::kErrorOutOfMemory;
  bytes->resize(size);
  std::size_t done = 0;
  while (done < bytes->size()) {
    std::uint32_t read = 0;
    const auto left = static_cast<std::uint32_t>(bytes->size() - done);
    if (!files->ReadFile(file, bytes->data() + done, left, &read, nullptr)) return system->GetLastError();
    if (read == 0) break;  // the file became shorter meanwhile
    done += read;
  }
  bytes->resize(done);
  return platform::kErrorSuccess;
}

/// Closes on every road out, a failed allocation's included.
class OpenFile {
 public:
  OpenFile(platform::System* system, platform::HANDLE handle) : system_(system), handle_(handle) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { system_->CloseHandle(handle_); }

 private:
  platform::System* system_;
  platform::HANDLE handle_;
};

}  // namespace

EmbeddedTdh::ReadFile ReadThrough(platform::Files* files, platform::System* system) {
  return [files, system](const char16_t* path, std::vector<std::byte>* bytes) -> std::uint32_t {
    const platform::HANDLE file = files->CreateFileW(
        path, platform::kGenericRead, platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete,
        platform::kOpenExisting, platform::kFileAttributeNormal);
    if (file == platform::kInvalidHandleValue) return system->GetLastError();
    const OpenFile closer(system, file);
    return ReadOpenFile(files, system, file, bytes);
  };
}

}  // namespace varnel::embedded
