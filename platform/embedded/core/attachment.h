// Attachment: the mark of a process that has loaded the module on a machine. A machine does not boot while one is
// there. The mark goes with its owner or with the process, whatever ends it.
#pragma once

#include <optional>

#include "formats/result.h"
#include "platform/embedded/core/file_lock.h"
#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

class Attachment {
 public:
  /// Says that a module is at work on the machine. Waits while the machine boots.
  static formats::Result<Attachment> AttachShared(const Machine& machine);

  /// Holds modules off, as a boot does. Nothing when a module is attached.
  static formats::Result<std::optional<Attachment>> TryExclusive(const Machine& machine);

 private:
  explicit Attachment(FileLock lock) : lock_(std::move(lock)) {}

  FileLock lock_;
};

}  // namespace varnel::embedded
