#include "base/path_services.h"

#include <cstring>
#include <exception>

#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

std::uint32_t LastErrorAsHresult() {
  return HresultFromWin32(SystemPort().GetLastError());
}

/// A text in a block of the process heap; null when memory ran out.
class HeapText {
 public:
  explicit HeapText(std::size_t capacity)
      : text_(static_cast<char16_t*>(SystemPort().HeapAlloc(capacity * sizeof(char16_t)))) {
    if (text_ != nullptr) std::memset(text_, 0, capacity * sizeof(char16_t));
  }
  ~HeapText() { SystemPort().HeapFree(text_); }
  HeapText(const HeapText&) = delete;
  HeapText& operator=(const HeapText&) = delete;

  char16_t* get() const { return text_; }

 private:
  char16_t* text_;
};

/// An empty text or a drive alone, with or without its backslash: nothing that could be created.
bool IsNoCandidate(const char16_t* path, std::size_t length) {
  if (length == 0) return true;
  if (length == 2) return path[1] == u':';
  return length == 3 && path[1] == u':' && path[2] == u'\\';
}

/// Cuts the path, in its place, behind each folder that may have to be created: the separators there become NULs. Gives
/// the length of the shallowest one, or 0 when there is none.
std::size_t CutIntoCandidates(char16_t* path, std::size_t length) {
  std::size_t shallowest = 0;
  while (!IsNoCandidate(path, length)) {
    path[length] = 0;
    shallowest = length;
    std::size_t separator = length - 1;
    while (separator > 0 && path[separator] != u'\\' && path[separator] != u'/') --separator;
    if (separator == 0) break;
    length = separator;
  }
  return shallowest;
}

std::uint32_t EnsureOneFolder(const char16_t* path) {
  const std::uint32_t attributes = FilesPort().GetFileAttributesW(path);
  if (attributes != platform::kInvalidFileAttributes) {
    return (attributes & platform::kFileAttributeDirectory) != 0 ? kStatusOk : kStatusFail;
  }
  if (FilesPort().CreateDirectoryW(path)) return kStatusOk;
  const std::uint32_t error = SystemPort().GetLastError();
  if (error == platform::kErrorAlreadyExists) return kStatusOk;
  WrapLogPrint(LOG_ERROR, u"[Error] Failed to create directory: %s (error code: 0x%08X)\n", path, error);
  return HresultFromWin32(error);
}

}  // namespace

std::uint32_t ExpandEnvironmentPath(const char16_t* input, std::u16string* output) {
  const std::uint32_t size = SystemPort().ExpandEnvironmentStringsW(input, nullptr, 0);
  if (size == 0) return LastErrorAsHresult();
  const HeapText expanded(size);
  if (expanded.get() == nullptr) return kStatusOutOfMemory;
  const std::uint32_t written = SystemPort().ExpandEnvironmentStringsW(input, expanded.get(), size);
  if (written == 0 || written > size) return LastErrorAsHresult();
  try {
    output->assign(expanded.get());
  } catch (const std::exception&) {
    return kStatusOutOfMemory;
  }
  return kStatusOk;
}

std::uint32_t EnsureDirectoryExists(const char16_t* path) {
  const std::size_t length = TextLength(path);
  if (length == 0) return kStatusInvalidArgument;
  const std::uint32_t attributes = FilesPort().GetFileAttributesW(path);
  if (attributes != platform::kInvalidFileAttributes) {
    return (attributes & platform::kFileAttributeDirectory) != 0 ? kStatusOk : kStatusFail;
  }

  const HeapText candidates(length + 1);
  char16_t* const text = candidates.get();
  if (text == nullptr) return kStatusOutOfMemory;
  CopyText(text, length + 1, path);
  std::size_t reached = CutIntoCandidates(text, length);
  while (reached != 0) {
    const std::uint32_t status = EnsureOneFolder(text);
    if (status != kStatusOk || reached == length) return status;
    text[reached] = path[reached];
    reached += TextLength(text + reached);
  }
  return kStatusOk;
}

std::uint32_t GenericUniqueTempSessionLogFile(char16_t* path, std::uint32_t /*capacity*/, const char16_t* format,
                                              const GUID* guid) {
  if (SystemPort().GetSystemDirectoryW(path, kMaxPath) == 0) return SystemPort().GetLastError();
  const char16_t drive = path[0];
  char16_t given[kGuidTextCapacity] = {};
  SystemPort().StringFromGUID2(*guid, given, kGuidTextCapacity);
  GUID fresh_guid{};
  SystemPort().CoCreateGuid(&fresh_guid);
  char16_t fresh[kGuidTextCapacity] = {};
  SystemPort().StringFromGUID2(fresh_guid, fresh, kGuidTextCapacity);
  FormatTo(path, kMaxPath, Unchecked(format), given, fresh);
  path[0] = drive;
  return platform::kErrorSuccess;
}

}  // namespace varnel
