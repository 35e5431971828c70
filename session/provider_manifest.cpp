#include "session/provider_manifest.h"

#include <tinyxml2.h>

#include <cstdio>
#include <iterator>
#include <memory>
#include <new>

#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"
#include "session/manifest_document.h"
#include "session/provider_table.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::HANDLE;
using platform::kErrorGenFailure;
using platform::kErrorOutOfMemory;
using platform::kErrorSuccess;
using platform::SystemPort;

/// A block of the process heap.
template <typename T>
class HeapBlock {
 public:
  HeapBlock() = default;
  ~HeapBlock() { SystemPort().HeapFree(block_); }
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  bool Allocate(std::size_t count) {
    SystemPort().HeapFree(block_);
    block_ = static_cast<T*>(SystemPort().HeapAlloc(count * sizeof(T)));
    return block_ != nullptr;
  }
  void Free() {
    SystemPort().HeapFree(block_);
    block_ = nullptr;
  }
  T* get() const { return block_; }

 private:
  T* block_ = nullptr;
};

class ScopedFile {
 public:
  explicit ScopedFile(HANDLE file) : file_(file) {}
  ~ScopedFile() {
    if (open()) SystemPort().CloseHandle(file_);
  }
  ScopedFile(const ScopedFile&) = delete;
  ScopedFile& operator=(const ScopedFile&) = delete;
  bool open() const { return file_ != platform::kInvalidHandleValue; }
  HANDLE get() const { return file_; }

 private:
  const HANDLE file_;
};

/// The texts that name one provider's manifest.
struct ManifestTexts {
  char name[256] = {};
  char symbol[256] = {};
  char guid[64] = {};
  char16_t file_name[kMaxPath] = {};
  char narrow_file_name[kMaxPath] = {};
};

void ToNarrow(const char16_t* text, char* out, std::int32_t capacity) {
  SystemPort().WideCharToMultiByte(platform::kCpAcp, 0, text, -1, out, capacity);
}

/// 0, or the last error when there is no temporary folder.
std::uint32_t FormTexts(const GUID& guid, const char16_t* name, ManifestTexts* texts) {
  char16_t symbol[kMaxPath] = {};
  FormatTo(symbol, kMaxPath, u"%sGUID", name);
  ToNarrow(name, texts->name, std::size(texts->name));
  ToNarrow(symbol, texts->symbol, std::size(texts->symbol));
  FormatTo(texts->guid, std::size(texts->guid), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
           guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4],
           guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  char16_t folder[kMaxPath] = {};
  if (FilesPort().GetTempPathW(kMaxPath, folder) == 0) return SystemPort().GetLastError();
  char16_t wide_guid[64] = {};
  SystemPort().MultiByteToWideChar(platform::kCpAcp, 0, texts->guid, -1, wide_guid, std::size(wide_guid));
  FormatTo(texts->file_name, kMaxPath, u"%s%s_%s.xml", folder, name, wide_guid);
  ToNarrow(texts->file_name, texts->narrow_file_name, kMaxPath);
  return kErrorSuccess;
}

/// Saves the document as UTF-8. 0, 14, or 31.
std::uint32_t SaveDocument(const ManifestTexts& texts) {
  std::unique_ptr<tinyxml2::XMLDocument> document(new (std::nothrow)
                                                      tinyxml2::XMLDocument(true, tinyxml2::PRESERVE_WHITESPACE));
  if (!document) return kErrorOutOfMemory;
  if (!BuildManifestDocument({texts.name, texts.guid, texts.symbol}, document.get())) return kErrorOutOfMemory;
  if (FilesPort().PathFileExistsA(texts.narrow_file_name)) FilesPort().DeleteFileA(texts.narrow_file_name);
  std::FILE* file = FilesPort().OpenNarrow(texts.narrow_file_name, "w");
  if (file == nullptr) return kErrorGenFailure;
  const tinyxml2::XMLError saved = document->SaveFile(file, false);
  const bool whole = std::ferror(file) == 0;
  return std::fclose(file) == 0 && whole && saved == tinyxml2::XML_SUCCESS ? kErrorSuccess : kErrorGenFailure;
}

/// Reads the whole file, with a NUL behind it. 0, 14, or the last error.
std::uint32_t ReadWhole(const char16_t* path, HeapBlock<char>* text) {
  const ScopedFile file(FilesPort().CreateFileW(path, platform::kGenericRead, platform::kFileShareRead,
                                                platform::kOpenExisting, platform::kFileAttributeNormal));
  if (!file.open()) return SystemPort().GetLastError();
  const std::uint32_t size = FilesPort().GetFileSize(file.get(), nullptr);
  if (size == platform::kInvalidFileSize) return SystemPort().GetLastError();
  if (!text->Allocate(std::size_t{size} + 1)) return kErrorOutOfMemory;
  std::uint32_t read = 0;
  if (!FilesPort().ReadFile(file.get(), text->get(), size, &read, nullptr)) return SystemPort().GetLastError();
  text->get()[read] = 0;
  return kErrorSuccess;
}

/// UTF-8 to UTF-16; `*length` in characters, NUL included. 0, 14, or 31.
std::uint32_t Widen(const char* text, HeapBlock<char16_t>* wide, std::int32_t* length) {
  *length = SystemPort().MultiByteToWideChar(platform::kCpUtf8, 0, text, -1, nullptr, 0);
  if (*length <= 0) return kErrorGenFailure;
  if (!wide->Allocate(static_cast<std::size_t>(*length))) return kErrorOutOfMemory;
  const std::int32_t written = SystemPort().MultiByteToWideChar(platform::kCpUtf8, 0, text, -1, wide->get(), *length);
  return written > 0 ? kErrorSuccess : kErrorGenFailure;
}

bool WriteBytes(HANDLE file, const void* bytes, std::uint32_t size) {
  std::uint32_t written = 0;
  return FilesPort().WriteFile(file, bytes, size, &written, nullptr);
}

/// Writes the byte-order mark and the text without its NUL. 0, or the last error.
std::uint32_t WriteWide(const char16_t* path, const char16_t* text, std::int32_t length) {
  static constexpr std::uint8_t kByteOrderMark[] = {0xFF, 0xFE};
  const ScopedFile file(FilesPort().CreateFileW(path, platform::kGenericWrite, 0, platform::kCreateAlways,
                                                platform::kFileAttributeNormal));
  if (!file.open()) return SystemPort().GetLastError();
  const auto size = static_cast<std::uint32_t>(length - 1) * static_cast<std::uint32_t>(sizeof(char16_t));
  if (!WriteBytes(file.get(), kByteOrderMark, sizeof kByteOrderMark) || !WriteBytes(file.get(), text, size)) {
    return SystemPort().GetLastError();
  }
  return kErrorSuccess;
}

/// Turns the saved file into UTF-16 with a byte-order mark.
std::uint32_t RewriteAsWide(const char16_t* path) {
  HeapBlock<char> narrow;
  std::uint32_t result = ReadWhole(path, &narrow);
  if (result != kErrorSuccess) return result;
  HeapBlock<char16_t> wide;
  std::int32_t length = 0;
  result = Widen(narrow.get(), &wide, &length);
  if (result != kErrorSuccess) return result;
  narrow.Free();
  return WriteWide(path, wide.get(), length);
}

std::uint32_t LoadFile(const char16_t* path) {
  const std::uint32_t result = platform::TdhPort().TdhLoadManifest(path);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"LoadTargetProviderXmlFile func call TdhLoadManifest(%s) failed(0x%x)\r\n", path, result);
  }
  return result;
}

}  // namespace

std::uint32_t LoadAllProviderXmlFile() {
  std::uint32_t last_failure = kErrorSuccess;
  for (const ProviderTableEntry& entry : kProviderTable) {
    const GUID& g = entry.guid;
    char16_t name[kMaxPath] = {};
    std::uint32_t result = GetEtwProviderNameByGuid(&g, name, kMaxPath);
    if (result != kErrorSuccess) {
      WrapLogPrint(LOG_INFO,
                   u"LoadAllProviderXmlFile func call GetEtwProviderNameByGuid failed(0x%x) for "
                   u"ProviderGuid={%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}\r\n",
                   result, g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                   g.Data4[5], g.Data4[6], g.Data4[7]);
      last_failure = result;
      continue;
    }
    result = LoadTargetProviderXmlFile(&g, name);
    if (result == kErrorSuccess) continue;
    WrapLogPrint(LOG_INFO,
                 u"LoadAllProviderXmlFile func call LoadTargetProviderXmlFile failed(0x%x) for "
                 u"ProviderGuid={%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}, ProviderName=%s\r\n",
                 result, g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                 g.Data4[5], g.Data4[6], g.Data4[7], name);
    last_failure = result;
  }
  return last_failure;
}

std::uint32_t LoadTargetProviderXmlFile(const GUID* guid, const char16_t* name) {
  if (guid == nullptr || name == nullptr) return platform::kErrorInvalidParameter;
  ManifestTexts texts;
  std::uint32_t result = FormTexts(*guid, name, &texts);
  if (result != kErrorSuccess) return result;
  result = SaveDocument(texts);
  if (result != kErrorSuccess) return result;
  result = RewriteAsWide(texts.file_name);
  if (result == kErrorSuccess) result = LoadFile(texts.file_name);
  FilesPort().DeleteFileW(texts.file_name);
  return result;
}

}  // namespace varnel
