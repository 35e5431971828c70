#include "analyzer/dump_identity.h"

#include "analyzer/out_of_memory.h"
#include "base/file_handle.h"
#include "base/heap_block.h"
#include "base/log.h"
#include "base/md5_hash.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint32_t kBlockSize = 65536;
constexpr std::uint64_t kLargestWithoutTail = 2 * std::uint64_t{kBlockSize};

std::int32_t LastErrorAsHresult() {
  return HresultOf(SystemPort().GetLastError());
}

/// Size and last-write time stand before the content, eight bytes each, the lowest first.
bool AddHeader(std::uint64_t size, const platform::FILETIME& last_write, Md5Hash* hash) {
  std::uint8_t header[16];
  const std::uint64_t time = platform::ToUint64(last_write);
  for (unsigned i = 0; i < 8; ++i) {
    header[i] = static_cast<std::uint8_t>(size >> (8 * i));
    header[8 + i] = static_cast<std::uint8_t>(time >> (8 * i));
  }
  return hash->Add(header, 8) && hash->Add(header + 8, 8);
}

/// Whether the content's first block went into the hash. If not, `result` is the last error, which after a read of no
/// bytes may well be none.
bool AddHead(platform::HANDLE file, void* block, Md5Hash* hash, std::int32_t* result) {
  std::uint32_t read = 0;
  const bool added = FilesPort().SetFilePointerEx(file, 0, nullptr, platform::kFileBegin) &&
                     FilesPort().ReadFile(file, block, kBlockSize, &read, nullptr) && read != 0 &&
                     hash->Add(block, read);
  if (!added) *result = LastErrorAsHresult();
  return added;
}

/// A tail that cannot be read is left out: the identity then rests on the head alone.
bool AddTail(platform::HANDLE file, std::uint64_t size, void* block, Md5Hash* hash) {
  const auto place = static_cast<std::int64_t>(size - kBlockSize);
  if (!FilesPort().SetFilePointerEx(file, place, nullptr, platform::kFileBegin)) return true;
  std::uint32_t read = 0;
  if (!FilesPort().ReadFile(file, block, kBlockSize, &read, nullptr) || read == 0) return true;
  return hash->Add(block, read);
}

void AppendHex(const std::uint8_t* digest, std::u16string* text) {
  for (std::size_t i = 0; i < kMd5Size; ++i) {
    char16_t pair[3];
    FormatTo(pair, 3, u"%02X", digest[i]);
    text->append(pair);
  }
}

std::int32_t HashContent(platform::HANDLE file, std::uint64_t size, Md5Hash* hash, std::u16string* identity) {
  const HeapBlock block(kBlockSize);
  if (block.get() == nullptr) {
    WrapLogPrint(LOG_ERROR, u"[Error] Memory allocation failed\n");
    return kHresultOutOfMemory;
  }
  std::int32_t result = kHresultOk;
  if (!AddHead(file, block.get(), hash, &result)) return result;
  if (size > kLargestWithoutTail && !AddTail(file, size, block.get(), hash)) return LastErrorAsHresult();
  std::uint8_t digest[kMd5Size];
  if (!hash->Value(digest)) return LastErrorAsHresult();
  AppendHex(digest, identity);
  return kHresultOk;
}

std::int32_t IdentityOf(platform::HANDLE file, std::u16string* identity) {
  std::uint64_t size = 0;
  platform::FILETIME last_write{};
  if (!FilesPort().GetFileSizeEx(file, &size)) return LastErrorAsHresult();
  if (!FilesPort().GetFileTime(file, nullptr, nullptr, &last_write)) return LastErrorAsHresult();
  Md5Hash hash;
  if (!hash.Acquire()) {
    const std::int32_t result = LastErrorAsHresult();  // the log changes the last error
    WrapLogPrint(LOG_ERROR, u"[Error] CryptAcquireContextW failed\n");
    return result;
  }
  if (!hash.Create()) {
    const std::int32_t result = LastErrorAsHresult();
    WrapLogPrint(LOG_ERROR, u"[Error] CryptCreateHash failed\n");
    return result;
  }
  if (!AddHeader(size, last_write, &hash)) return LastErrorAsHresult();
  return HashContent(file, size, &hash, identity);
}

}  // namespace

std::int32_t CalcDumpIdentity(const std::u16string& path, std::u16string* identity) noexcept {
  identity->clear();
  const FileHandle file(FilesPort().CreateFileW(path.c_str(), platform::kGenericRead, platform::kFileShareRead,
                                                platform::kOpenExisting, platform::kFileFlagSequentialScan));
  if (!file.valid()) {
    const std::uint32_t error = SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] CreateFileW failed: 0x%08X (%d)\n", error, error);
    return HresultOf(error);
  }
  return WithinMemory([&] { return IdentityOf(file.get(), identity); });
}

}  // namespace varnel
