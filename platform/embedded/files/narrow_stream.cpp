#include "platform/embedded/files/narrow_stream.h"

#include <cerrno>
#include <new>
#include <string_view>

namespace varnel::embedded {
namespace {

struct Cookie {
  std::shared_ptr<FileObject> file;
  bool appends = false;
};

ssize_t ReadCookie(void* cookie, char* buffer, std::size_t size) {
  std::uint32_t read = 0;
  if (static_cast<Cookie*>(cookie)->file->Read(buffer, static_cast<std::uint32_t>(size), &read, nullptr) == 0) {
    return static_cast<ssize_t>(read);
  }
  errno = EIO;
  return -1;
}

/// Gives 0 for a failure, as the C library asks.
ssize_t WriteCookie(void* cookie, const char* buffer, std::size_t size) {
  const auto* own = static_cast<Cookie*>(cookie);
  const auto count = static_cast<std::uint32_t>(size);
  std::uint32_t written = 0;
  const std::uint32_t error =
      own->appends ? own->file->Append(buffer, count, &written) : own->file->Write(buffer, count, &written, nullptr);
  if (error == 0) return static_cast<ssize_t>(written);
  errno = error == platform::kErrorDiskFull ? ENOSPC : EIO;
  return 0;
}

int SeekCookie(void* cookie, off64_t* offset, int whence) {
  std::uint64_t position = 0;
  if (static_cast<Cookie*>(cookie)->file->Seek(*offset, static_cast<std::uint32_t>(whence), &position) != 0) {
    errno = EINVAL;
    return -1;
  }
  *offset = static_cast<off64_t>(position);
  return 0;
}

int CloseCookie(void* cookie) {
  delete static_cast<Cookie*>(cookie);
  return 0;
}

/// False for a mode that is none.
bool Understand(std::string_view mode, FileOpener::Request* request, bool* appends) {
  if (mode.empty() || mode.find_first_not_of("bt+x", 1) != std::string_view::npos) return false;
  const bool both = mode.find('+') != std::string_view::npos;
  const bool fresh = mode.find('x') != std::string_view::npos;
  request->share_mode = platform::kFileShareRead | platform::kFileShareWrite;
  request->access = both || mode[0] == 'r' ? platform::kGenericRead : 0;
  if (both || mode[0] != 'r') request->access |= platform::kGenericWrite;
  *appends = mode[0] == 'a';
  switch (mode[0]) {
    case 'r':
      request->disposition = platform::kOpenExisting;
      return !fresh;
    case 'w':
      request->disposition = fresh ? platform::kCreateNew : platform::kCreateAlways;
      return true;
    case 'a':
      request->disposition = fresh ? platform::kCreateNew : platform::kOpenAlways;
      return true;
    default:
      return false;
  }
}

}  // namespace

std::uint32_t OpenStream(const FileOpener& opener, std::u16string_view path, const char* mode, std::FILE** stream) {
  FileOpener::Request request;
  std::unique_ptr<Cookie> cookie(new (std::nothrow) Cookie);
  if (!cookie) return platform::kErrorNotEnoughMemory;
  if (mode == nullptr || !Understand(mode, &request, &cookie->appends)) return platform::kErrorInvalidParameter;
  bool existed = false;
  if (const auto error = opener.Open(path, request, &cookie->file, &existed); error != 0) return error;
  const cookie_io_functions_t functions = {ReadCookie, WriteCookie, SeekCookie, CloseCookie};
  *stream = ::fopencookie(cookie.get(), mode, functions);
  if (*stream == nullptr) return platform::kErrorNotEnoughMemory;
  (void)cookie.release();  // the stream's own from here on
  return platform::kErrorSuccess;
}

}  // namespace varnel::embedded
