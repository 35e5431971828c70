#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include "formats/text_encoding.h"
#include "host/output_file.h"

namespace varnel::host {
namespace {

bool EndsInALine(int fd) {
  char last = '\n';
  return ::_lseeki64(fd, -1, SEEK_END) >= 0 && ::_read(fd, &last, 1) == 1 && last != '\n';
}

}  // namespace

int OpenForAppending(const std::string& path, bool* in_a_line) {
  constexpr int kFlags = _O_APPEND | _O_BINARY | _O_NOINHERIT;
  const std::u16string wide = formats::Utf8ToUtf16(path);
  const auto* name = reinterpret_cast<const wchar_t*>(wide.c_str());
  // Read access too, for the look at the last byte; what can only be written (a pipe, a device) has no last line.
  int fd = ::_wopen(name, _O_RDWR | _O_CREAT | kFlags, _S_IREAD | _S_IWRITE);
  if (fd < 0) fd = ::_wopen(name, _O_WRONLY | kFlags);
  *in_a_line = fd >= 0 && EndsInALine(fd);
  return fd;
}

}  // namespace varnel::host
