// RegistryStore: one registry folder, open in this process.
//
//   <folder>/lock           byte 0: held while a process opens; byte 1: shared by every process that has the registry
//                           open, exclusive for who repairs it; byte 2: held by who writes the copy
//   <folder>/store/         the LMDB environment
//   <folder>/copy           the flushed copy
//   <folder>/host           the boot of the host in which the store was last known to be whole
//
// The store is never synced, so after a restart of the host it may be any mixture of old and new pages; whoever opens
// first then builds it again from the copy. Within one boot of the host it outlives every process. Results are Win32
// error numbers. Any thread may call.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "platform/embedded/core/file_lock.h"
#include "platform/embedded/registry/copy_io.h"
#include "platform/embedded/registry/registry_copy.h"
#include "platform/embedded/registry/registry_records.h"
#include "platform/embedded/registry/store_environment.h"

namespace varnel::embedded {

struct StoreOptions {
  std::string host_boot_id;  // empty: the host's own
  NameHash hash = HashFoldedName;
  MapLimits map;
  CopyIo* io = nullptr;  // null: the host's own
  std::chrono::milliseconds copy_interval{60'000};
};

class RegistryStore {
 public:
  /// The store of a folder, shared by all who open it in this process; the folder is made if it is not there. The
  /// options of the first opener hold. 1015 when neither the store nor its copy can be used.
  static std::uint32_t Open(const std::string& folder, const StoreOptions& options,
                            std::shared_ptr<RegistryStore>* out);

  /// The last holder's end: writes the copy if the store has changed since, then closes.
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  NameHash hash() const { return options_.hash; }

  /// Runs body(Transaction&) on a view of the store and gives its result.
  template <typename Body>
  std::uint32_t Read(Body&& body) {
    Transaction transaction;
    const std::uint32_t error = environment_->BeginRead(&transaction);
    return error != 0 ? error : body(transaction);
  }

  /// Runs body(Transaction&) and commits what it changed if it gives 0; else nothing is changed. The body may run more
  /// than once: it starts again when the map had to grow.
  template <typename Body>
  std::uint32_t Write(Body&& body) {
    for (;;) {
      Transaction transaction;
      std::uint32_t error = environment_->BeginWrite(&transaction);
      if (error == 0) error = body(transaction);
      if (error == 0) error = transaction.Commit();
      transaction.Abort();
      if (!transaction.out_of_room()) {
        if (error == 0) CopyIfDue();
        return error;
      }
      error = environment_->Grow();
      if (error != 0) return error;
    }
  }

  /// Returns when all that was committed before the call is in the copy, and the copy on the disk.
  std::uint32_t Flush();
  void FlushQuietly() noexcept;

 private:
  friend class StoreCache;

  RegistryStore(std::string folder, const StoreOptions& options);

  std::uint32_t OpenLocked();
  std::uint32_t OpenAlone();
  std::uint32_t OpenEnvironment(bool alone);
  std::uint32_t CheckAll();
  std::uint32_t RebuildFrom(const RegistryCopy& copy);
  std::uint32_t BuildNew();
  std::uint32_t PutStoreRecord(Transaction& transaction, const StoreRecord& record);
  std::uint32_t RemoveStoreFiles();
  std::uint32_t RecordHost();
  std::uint32_t WriteCopy(Transaction& view, const CopyHeader& header);
  void CopyIfDue();

  const std::string folder_;
  const StoreOptions options_;
  const int owner_process_;  // a forked child holds a copy of this object and must not touch the files

  FileLock lock_;  // bytes 0 and 1: under the cache's mutex
  std::unique_ptr<StoreEnvironment> environment_;
  std::atomic<std::int64_t> next_copy_{0};  // steady clock, ms

  std::mutex copy_mutex_;  // byte 2 of copy_lock_, for this process's threads
  FileLock copy_lock_;     // guarded by copy_mutex_
};

}  // namespace varnel::embedded
