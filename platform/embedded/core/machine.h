// Machine: a folder of the host system that behaves as a Windows machine.
//
//   <root>/machine         format version; tells a machine folder from any other
//   <root>/C/...           drive C (other drives are folders beside it, named by one upper-case letter)
//   <root>/registry/       the registry's store and its flushed copy
//   <root>/sessions/<id>/  a running trace session
//   <root>/locks/          byte-range locks that stand for sharing modes, in-use marks and attachments
//   <root>/links           links that lead out of a drive (files/link_table.h); there when there is one
//   <root>/boot            number, time and host of the current boot
//   <root>/boot.delete     Windows paths to delete at the next boot, one on a line, UTF-8
//
// Several processes use one folder at once. A Machine is immutable but for the boot record, which is read anew at each
// call. Any thread may call.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "formats/result.h"

namespace varnel::embedded {

/// A boot of the machine.
struct BootRecord {
  std::uint64_t number = 0;     // 1 for the boot that `machine new` leaves behind
  std::uint64_t file_time = 0;  // when it began
  std::string host_boot_id;     // the host's own boot: sessions of another one are gone
};

class Machine {
 public:
  /// @return an Error that names the folder and the reason when it is not a machine folder or of another version.
  static formats::Result<std::shared_ptr<Machine>> Open(const std::string& root);

  /// Makes the folder, its marks and an empty drive C; the layout of the drive and the registry are the tools' work.
  /// The folder must not exist or be empty.
  static formats::Result<std::shared_ptr<Machine>> Create(const std::string& root);
  /// The same in two steps: between them the folder is filled, and is no machine yet for anybody else.
  static formats::Result<std::shared_ptr<Machine>> Begin(const std::string& root);
  formats::Status Finish() const;

  const std::string& root() const { return root_; }
  std::string DrivePath(char letter) const;  // "<root>/C"
  std::string RegistryPath() const { return root_ + "/registry"; }
  std::string SessionsPath() const { return root_ + "/sessions"; }
  std::string LocksPath() const { return root_ + "/locks"; }
  std::string LinksPath() const { return root_ + "/links"; }

  formats::Result<BootRecord> ReadBoot() const;
  /// Replaces the record as a whole (written aside, synced, renamed).
  formats::Status WriteBoot(const BootRecord& record) const;

  /// Adds a Windows path to what the next boot deletes.
  formats::Status AddPendingDelete(const std::string& windows_path) const;
  /// What the next boot deletes, in the order in which it was added.
  formats::Result<std::vector<std::string>> PendingDeletes() const;
  /// Hands each of them to `carry_out`, then empties the list: a boot that is killed meanwhile begins again. Nobody
  /// adds meanwhile, so `carry_out` must not.
  formats::Status CarryOutPendingDeletes(const std::function<void(const std::string& path)>& carry_out) const;

 private:
  explicit Machine(std::string root) : root_(std::move(root)) {}

  const std::string root_;
};

/// The running boot of the host system, as the host names it; VARNEL_HOST_BOOT_ID in the environment replaces it, so
/// that a restart of the host can be acted out.
std::string HostBootId();

/// Now, in 100 ns since 1601.
std::uint64_t FileTimeNow();

}  // namespace varnel::embedded
