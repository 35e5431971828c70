// Reading, rewriting and extending a marker file.
#include <algorithm>
#include <cstring>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "analyzer/marker_paths.h"
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

std::vector<std::u16string> MarkerLines(const std::vector<std::u16string>& identities) {
  std::vector<std::u16string> lines;
  lines.reserve(identities.size());
  for (const std::u16string& identity : identities) lines.push_back(MarkerLine(identity));
  return lines;
}

std::int32_t WriteOpenMarker(platform::HANDLE file, const std::vector<std::u16string>& lines) {
  std::uint32_t written = 0;
  FilesPort().WriteFile(file, &kByteOrderMark, sizeof kByteOrderMark, &written, nullptr);
  for (const std::u16string& line : lines) {
    const auto size = static_cast<std::uint32_t>(line.size() * sizeof(char16_t));
    if (!FilesPort().WriteFile(file, line.data(), size, &written, nullptr)) return LastErrorAsHresult();
  }
  return kHresultOk;
}

}  // namespace

std::int32_t CrashDumpConfigManager::ReadMarkerFile(const std::u16string& productGuid,
                                                    const std::u16string& markerFileName,
                                                    TextList* identities) const noexcept {
  identities->clear();
  return WithinMemory([&] {
    const std::u16string path = MarkerFileOf(productGuid, markerFileName);
    const FileHandle file(FilesPort().CreateFileW(path.c_str(), platform::kGenericRead, platform::kFileShareRead,
                                                  platform::kOpenExisting, platform::kFileAttributeNormal));
    if (file.valid()) return ReadOpenMarker(file.get(), identities);
    const std::uint32_t error = SystemPort().GetLastError();
    const bool absent = error == platform::kErrorFileNotFound || error == platform::kErrorPathNotFound;
    return absent ? kHresultOk : HresultOf(error);
  });
}

std::int32_t CrashDumpConfigManager::WriteMarkerFile(const std::u16string& productGuid,
                                                     const std::u16string& markerFileName,
                                                     const TextList& identities) noexcept {
  return WithinMemory([&] {
    const std::u16string folder = MarkerFolderOf(productGuid);
    if (const std::int32_t result = HresultOf(EnsureDirectoryExists(folder.c_str())); result < 0) {
      WrapLogPrint(LOG_ERROR, u"[Error] EnsureDirectoryExists failed: 0x%08X\n", result);
      return result;
    }
    // All memory is taken before the open, which empties the file.
    const std::u16string path = MarkerFileOf(productGuid, markerFileName);
    const TextList lines = MarkerLines(identities);
    const FileHandle file(FilesPort().CreateFileW(path.c_str(), platform::kGenericWrite, 0, platform::kCreateAlways,
                                                  platform::kFileAttributeNormal));
    return file.valid() ? WriteOpenMarker(file.get(), lines) : LastErrorAsHresult();
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
