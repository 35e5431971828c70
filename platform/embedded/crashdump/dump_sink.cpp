#include "platform/embedded/crashdump/dump_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

formats::Error Failure(const std::string& path, int error) {
  return formats::Error{path + ": " + std::strerror(error)};
}

}  // namespace

formats::Status MemorySink::SetSize(std::uint64_t size) {
  bytes_.resize(size);
  return formats::Ok();
}

formats::Status MemorySink::Write(std::uint64_t offset, std::span<const std::byte> bytes) {
  StoreBytes(bytes_, offset, bytes);
  return formats::Ok();
}

FileSink::FileSink(std::string path)
    : path_(std::move(path)),
      fd_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)),
      open_error_(errno) {}

formats::Status FileSink::SetSize(std::uint64_t size) {
  if (!fd_.valid()) return Failure(path_, open_error_);
  if (::ftruncate(fd_.get(), static_cast<off_t>(size)) != 0) return Failure(path_, errno);
  return formats::Ok();
}

formats::Status FileSink::Write(std::uint64_t offset, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(fd_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return Failure(path_, written < 0 ? errno : ENOSPC);
    offset += static_cast<std::uint64_t>(written);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return formats::Ok();
}

}  // namespace varnel::embedded
