#include "platform/embedded/core/attachment.h"

#include <cerrno>
#include <cstring>

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kByte = 0;

std::string LockPath(const Machine& machine) {
  return machine.LocksPath() + "/attached";
}

formats::Error Failure(const Machine& machine, int error) {
  return formats::Error{LockPath(machine) + ": " + std::strerror(error)};
}

}  // namespace

formats::Result<Attachment> Attachment::AttachShared(const Machine& machine) {
  FileLock lock;
  int error = lock.Open(LockPath(machine));
  if (error == 0) error = lock.Lock(kByte, FileLock::Mode::kShared);
  if (error != 0) return Failure(machine, error);
  return Attachment(std::move(lock));
}

formats::Result<std::optional<Attachment>> Attachment::TryExclusive(const Machine& machine) {
  FileLock lock;
  int error = lock.Open(LockPath(machine));
  if (error == 0) error = lock.TryLock(kByte, FileLock::Mode::kExclusive);
  if (error == EAGAIN) return std::optional<Attachment>();
  if (error != 0) return Failure(machine, error);
  return std::optional<Attachment>(Attachment(std::move(lock)));
}

}  // namespace varnel::embedded
