// Reading, rewriting and extending a marker file.
#include <algorithm>
#include <cstring>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "analyzer/marker_text.h"
#include "analyzer/out_of_memory.h"
#include "base/file_handle.h"
#include "base/heap_block.h"
#include "base/log.h"
#include "base/path_services.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint64_t kLargestRead = 0xFFFFFFFF;  // bytes that one read can be asked for

std::int32_t LastErrorAsHresult() {
  return HresultOf(SystemPort().GetLastError());
}

std::int32_t ReadOpenMarker(platform::HANDLE file, std::vector<std::u16string>* identities) {
  std::uint64_t size = 0;
  if (!FilesPort().GetFileSizeEx(file, &size)) return LastErrorAsHresult();
  if (size == 0) return kHresultOk;
  if (size > kLargestRead) return kHresultOutOfMemory;
  const HeapBlock block(size + sizeof(char16_t));
  if (block.get() == nullptr) return kHresultOutOfMemory;
  std::memset(block.get(), 0, size + sizeof(char16_t));
  std::uint32_t read = 0;
  if (!FilesPort().ReadFile(file, block.get(), static_cast<std::uint32_t>(size), &read, nullptr)) {
    return LastErrorAsHresult();
  }
  ParseMarkerText({static_cast<const char16_t*>(block.get()), read / sizeof(char16_t)}, identities);
  return kHresultOk;
}

}  // namespace

std::int32_t CrashDumpConfigManager::ReadMarkerFile(const std::u16string& productGuid,
                                                    const std::u16string& markerFileName,
                                                    TextList* identities) const noexcept {
  identities->clear();
  const std::u16string path = GetMarkerFilePath(productGuid, markerFileName);
  const FileHandle file(FilesPort().CreateFileW(path.c_str(), platform::kGenericRead, platform::kFileShareRead,
                                                platform::kOpenExisting, platform::kFileAttributeNormal));
  if (!file.valid()) {
    const std::uint32_t error = SystemPort().GetLastError();
    const bool absent = error == platform::kErrorFileNotFound || error == platform::kErrorPathNotFound;
    return absent ? kHresultOk : HresultOf(error);
  }
  return WithinMemory([&] { return ReadOpenMarker(file.get(), identities); });
}

std::int32_t CrashDumpConfigManager::WriteMarkerFile(const std::u16string& productGuid,
                                                     const std::u16string& markerFileName,
                                                     const TextList& identities) noexcept {
  const std::u16string folder = GetAnalysisMarkerDirectory(productGuid);
  if (const std::int32_t result = HresultOf(EnsureDirectoryExists(folder.c_str())); result < 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] EnsureDirectoryExists failed: 0x%08X\n", result);
    return result;
  }
  const std::u16string path = GetMarkerFilePath(productGuid, markerFileName);
  const FileHandle file(FilesPort().CreateFileW(path.c_str(), platform::kGenericWrite, 0, platform::kCreateAlways,
                                                platform::kFileAttributeNormal));
  if (!file.valid()) return LastErrorAsHresult();
  std::uint32_t written = 0;
  FilesPort().WriteFile(file.get(), &kByteOrderMark, sizeof kByteOrderMark, &written, nullptr);
  return WithinMemory([&] {
    for (const std::u16string& identity : identities) {
      const std::u16string line = MarkerLine(identity);
      const auto size = static_cast<std::uint32_t>(line.size() * sizeof(char16_t));
      if (!FilesPort().WriteFile(file.get(), line.data(), size, &written, nullptr)) return LastErrorAsHresult();
    }
    return kHresultOk;
  });
}

std::int32_t CrashDumpConfigManager::AddAnalyzedDump(const std::u16string& dumpPath, const std::u16string& productGuid,
                                                     const std::u16string& markerFileName) noexcept {
  return WithinMemory([&] {
    std::u16string identity;
    std::int32_t result = CalcDumpIdentity(dumpPath, &identity);
    if (result < 0) return result;
    TextList identities;
    result = ReadMarkerFile(productGuid, markerFileName, &identities);
    if (result < 0) return result;
    if (std::find(identities.begin(), identities.end(), identity) != identities.end()) return kHresultOk;
    identities.push_back(std::move(identity));
    return WriteMarkerFile(productGuid, markerFileName, identities);
  });
}

}  // namespace varnel
