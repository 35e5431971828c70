#include "host/dump_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/debugger/mapped_dump.h"

namespace varnel::host {

using formats::Error;

formats::Result<std::shared_ptr<const formats::DumpSource>> OpenDumpFile(const std::string& path) {
  // Without O_NONBLOCK a pipe would be waited for before it can be told from a file.
  embedded::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0) return Error{std::strerror(errno)};
  if (S_ISDIR(status.st_mode)) return Error{"is a folder"};
  if (!S_ISREG(status.st_mode)) return Error{"is no plain file"};
  int error = 0;
  auto mapped = embedded::MappedDump::Map(std::move(file), &error);
  if (mapped == nullptr) return Error{std::string("can't be mapped: ") + std::strerror(error)};
  return std::shared_ptr<const formats::DumpSource>(std::move(mapped));
}

}  // namespace varnel::host
