#include "platform/embedded/tools/machine_link.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/files/link_table.h"
#include "platform/embedded/files/resolver.h"

namespace varnel::embedded {
namespace {

using formats::Error;
using formats::Result;
using formats::Status;

Error Failure(const std::string& place, const std::string& reason) {
  return Error{place + ": " + reason};
}

Error SystemFailure(const std::string& place) {
  return Failure(place, std::strerror(errno));
}

/// The absolute path of a plain file.
Result<std::string> TargetOf(const std::string& target) {
  char absolute[PATH_MAX];
  struct stat status {};
  if (::realpath(target.c_str(), absolute) == nullptr || ::stat(absolute, &status) != 0) return SystemFailure(target);
  if (!S_ISREG(status.st_mode)) return Failure(target, "not a plain file");
  // Both part the table's fields and lines.
  if (std::strpbrk(absolute, "\t\n") != nullptr) return Failure(target, "a tab or a line's end in its path");
  return std::string(absolute);
}

/// Behind the last whole line; what a killed writer began is no line.
Result<off_t> EndOfLines(int file, const std::string& path) {
  const off_t size = ::lseek(file, 0, SEEK_END);
  if (size < 0) return SystemFailure(path);
  for (off_t end = size; end > 0; --end) {
    char last = 0;
    if (::pread(file, &last, 1, end - 1) != 1) return SystemFailure(path);
    if (last == '\n') return end;
  }
  return off_t{0};
}

bool WriteAt(int file, const std::string& text, off_t at) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::pwrite(file, text.data() + done, text.size() - done, at + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

/// The table's line comes first: a link without its line leads nowhere, a line without its link says nothing.
Status Enter(const Machine& machine, const LinkTable::Link& link, const std::string& at) {
  const std::string path = machine.LinksPath();
  const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  if (!file.valid() || ::flock(file.get(), LOCK_EX) != 0) return SystemFailure(path);
  const auto end = EndOfLines(file.get(), path);
  if (!end.ok()) return end.error();
  const std::string line = LinkTable::LineOf(link);
  const bool entered = ::ftruncate(file.get(), end.value()) == 0 && WriteAt(file.get(), line, end.value());
  if (entered && ::symlink(link.target.c_str(), at.c_str()) == 0) return formats::Ok();
  Error failure = SystemFailure(entered ? at : path);
  static_cast<void>(::ftruncate(file.get(), end.value()) == 0);
  return failure;
}

}  // namespace

Status AddLink(const Machine& machine, std::u16string_view windows_path, const std::string& target,
               std::uint64_t creation) {
  auto leads_to = TargetOf(target);
  if (!leads_to.ok()) return leads_to.error();
  const auto place = Resolve(machine, windows_path);
  if (!place.ok()) return place.error();
  const std::string& at = place.value().path;
  if (place.value().exists) return Failure(at, "there is such a file already");
  if (place.value().windows.ends_in_separator) return Failure(at, "a folder's name");
  return Enter(machine, {creation, at.substr(machine.root().size() + 1), std::move(leads_to).value()}, at);
}

}  // namespace varnel::embedded
