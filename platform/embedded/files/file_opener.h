// Opening files of a machine by the platform's rules of access, sharing and disposition. Any thread may call.
#pragma once

#include <functional>
#include <memory>

#include "platform/embedded/core/machine.h"
#include "platform/embedded/files/file_object.h"
#include "platform/embedded/files/resolver.h"

namespace varnel::embedded {

/// Whether a file is in use by something that holds no open of it, such as the record of a running trace session. Such
/// a use writes and lets others read.
using InUseElsewhere = std::function<bool(dev_t device, ino_t inode)>;

/// What an attempt gives whose place changed between two looks at it: another process made, deleted or replaced the
/// file.
inline constexpr std::uint32_t kLookAgain = ~0u;
/// Makes attempts until one gives anything else; 32 after very many.
std::uint32_t LookUntilItHolds(const std::function<std::uint32_t()>& attempt);

class FileOpener {
 public:
  struct Request {
    std::uint32_t access = 0;
    std::uint32_t share_mode = 0;
    std::uint32_t disposition = 0;
    std::uint32_t attributes = 0;  // for a file that is made or emptied
  };

  explicit FileOpener(std::shared_ptr<const Machine> machine) : machine_(std::move(machine)) {}

  /// For the assembly, before the first use.
  void set_in_use_elsewhere(InUseElsewhere in_use) { in_use_elsewhere_ = std::move(in_use); }

  const Machine* machine() const { return machine_.get(); }

  /// As embedded::ResolvePath; 3 without a machine.
  std::uint32_t ResolvePath(std::u16string_view path, HostPath* place) const;

  /// 0 or a Win32 error. `existed` tells whether the file was there before.
  std::uint32_t Open(std::u16string_view path, const Request& request, std::shared_ptr<FileObject>* file,
                     bool* existed) const;

  /// Takes the locks that a use of a present file needs. 0; 32 or 5 when it is in use otherwise.
  std::uint32_t TakeShare(const struct stat& status, const Sharing& sharing, ShareLock* lock) const;

 private:
  std::uint32_t OpenPresent(const HostPath& place, const Request& request, std::shared_ptr<FileObject>* file) const;
  std::uint32_t Make(const HostPath& place, const Request& request, std::shared_ptr<FileObject>* file) const;

  const std::shared_ptr<const Machine> machine_;
  InUseElsewhere in_use_elsewhere_;
};

}  // namespace varnel::embedded
