#include "platform/embedded/debugger/dump_file.h"

#include <fcntl.h>

#include <cerrno>
#include <new>

#include "formats/dump/dump_header.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/debugger/mapped_dump.h"
#include "platform/embedded/files/file_object.h"

namespace varnel::embedded {
namespace {

using platform::HANDLE;
using platform::HRESULT;

/// The map, and the open file that keeps others from writing what is mapped.
class MachineDump final : public formats::DumpSource {
 public:
  MachineDump(platform::System* system, HANDLE file) : system_(system), file_(file) {}
  ~MachineDump() override {
    map_.reset();
    system_->CloseHandle(file_);
  }

  HRESULT Map() {
    const auto file = Handles().Find<FileObject>(file_, Object::Kind::kFile);
    if (!file) return results::OfWin32(platform::kErrorInvalidHandle);
    int error = 0;
    map_ = MappedDump::Map(UniqueFd(::open(file->HostLink().c_str(), O_RDONLY | O_CLOEXEC)), &error);
    if (map_) return results::kOk;
    return error == ENOMEM ? results::kOutOfMemory : results::OfWin32(platform::kErrorAccessDenied);
  }

  std::uint64_t Size() const noexcept override { return map_->Size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    return map_->Read(offset, into);
  }

 private:
  platform::System* const system_;
  const HANDLE file_;
  std::unique_ptr<MappedDump> map_;
};

/// A call that failed without telling why has failed.
HRESULT FailureOf(std::uint32_t error) {
  return error == platform::kErrorSuccess ? results::kFail : results::OfWin32(error);
}

}  // namespace

HRESULT OpenDump(platform::Files* files, platform::System* system, const char16_t* path,
                 std::shared_ptr<const formats::DumpSource>* source) {
  const HANDLE file = files->CreateFileW(path, platform::kGenericRead, platform::kFileShareRead,
                                         platform::kOpenExisting, platform::kFileAttributeNormal);
  if (file == platform::kInvalidHandleValue) return FailureOf(system->GetLastError());
  std::shared_ptr<MachineDump> dump;
  try {
    dump = std::make_shared<MachineDump>(system, file);
  } catch (const std::bad_alloc&) {
    system->CloseHandle(file);
    return results::kOutOfMemory;
  }
  try {
    formats::DumpHeader header;
    HRESULT result = dump->Map();
    if (result == results::kOk) result = results::OfDump(formats::ReadDumpHeader(*dump, &header));
    if (result == results::kOk) *source = std::move(dump);
    return result;
  } catch (const std::bad_alloc&) {
    return results::kOutOfMemory;
  }
}

}  // namespace varnel::embedded
