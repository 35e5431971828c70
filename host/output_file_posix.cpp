#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/output_file.h"

namespace varnel::host {
namespace {

bool EndsInALine(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
  char last = '\n';
  return ::pread(fd, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

}  // namespace

int OpenForAppending(const std::string& path, bool* in_a_line) {
  // Read access too, for the look at the last byte; what can only be written (a pipe, a device) has no last line.
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (fd < 0) fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
  *in_a_line = fd >= 0 && EndsInALine(fd);
  return fd;
}

}  // namespace varnel::host
