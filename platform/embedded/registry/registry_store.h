// RegistryStore: one registry folder, open in this process.
//
//   <folder>/lock           byte 0: held while a process opens; byte 1: shared by every process that has the registry
//                           open, exclusive for who repairs it; byte 2: held by who writes the copy
//   <folder>/store/         the LMDB environment
//   <folder>/cells          values that are set again and again, on their way into the store (value_cells.h)
//   <folder>/copy           the flushed copy
//   <folder>/host           the boot of the host in which the store was last known to be whole
//
// The store is never synced, so after a restart of the host it may be any mixture of old and new pages; whoever opens
// first then builds it again from the copy. Within one boot of the host it outlives every process. Results are Win32
// error numbers. Any thread may call.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/embedded/core/file_lock.h"
#include "platform/embedded/registry/copy_io.h"
#include "platform/embedded/registry/key_tree.h"
#include "platform/embedded/registry/registry_copy.h"
#include "platform/embedded/registry/registry_records.h"
#include "platform/embedded/registry/store_environment.h"
#include "platform/embedded/registry/value_bindings.h"
#include "platform/embedded/registry/value_cells.h"

namespace varnel::embedded {

/// Where a drain of the cells stands, for a test that fails or ends it there.
enum class DrainStep { kBeforeCommit, kAfterCommit, kHalfMarked, kDone };

struct StoreOptions {
  std::string host_boot_id;  // empty: the host's own
  NameHash hash = HashFoldedName;
  MapLimits map;
  CopyIo* io = nullptr;  // null: the host's own
  std::chrono::milliseconds copy_interval{60'000};
  std::function<std::uint32_t(DrainStep)> at_drain;  // a result other than 0 before the commit fails the drain
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

  /// Runs body(Transaction&) on a view of the store and gives its result. All that was set before is in the view.
  template <typename Body>
  std::uint32_t Read(Body&& body) {
    const std::uint32_t error = cells_.is_dirty() ? Drain() : 0;
    return error != 0 ? error : View(body);
  }

  /// Runs body(Transaction&) and commits what it changed if it gives 0; else nothing is changed. The body may run more
  /// than once: it starts again when the map had to grow. Ends all bindings of values, in every process.
  template <typename Body>
  std::uint32_t Write(Body&& body) {
    std::uint32_t error = 0;
    {
      const ValueCells::Hold hold(&cells_);
      error = hold.error();
      if (error == 0) error = DrainHeld();
      if (error == 0) cells_.UnbindAll();
      if (error == 0) error = Change(body);
    }
    if (error == 0) CopyIfDue();
    return error;
  }

  /// Sets a value of a key: in its cell when `bindings`, which the caller keeps for the key's handle, knows one.
  std::uint32_t SetValue(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                         std::span<const std::byte> data, ValueBindings* bindings);

  /// Returns when all that was committed before the call is in the copy, and the copy on the disk.
  std::uint32_t Flush();
  void FlushQuietly() noexcept;

 private:
  friend class StoreCache;

  RegistryStore(std::string folder, const StoreOptions& options);

  template <typename Body>
  std::uint32_t View(Body&& body) {
    Transaction transaction;
    const std::uint32_t error = environment_->BeginRead(&transaction);
    return error != 0 ? error : body(transaction);
  }
  template <typename Body>
  std::uint32_t Change(Body&& body) {
    for (;;) {
      Transaction transaction;
      std::uint32_t error = environment_->BeginWrite(&transaction);
      if (error == 0) error = body(transaction);
      if (error == 0) error = transaction.Commit();
      transaction.Abort();
      if (!transaction.out_of_room()) return error;
      error = environment_->Grow();
      if (error != 0) return error;
    }
  }

  std::uint32_t Drain();
  std::uint32_t DrainHeld();
  std::uint32_t PutDirtyCells(Transaction& change);
  std::uint32_t SetInStore(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                           std::span<const std::byte> data, ValueBindings* bindings);
  std::uint32_t At(DrainStep step) const { return options_.at_drain ? options_.at_drain(step) : 0; }

  std::uint32_t OpenLocked();
  std::uint32_t OpenAlone();
  std::uint32_t OpenEnvironment(bool alone);
  std::uint32_t OpenCells(bool alone);
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
  ValueCells cells_;                        // its lock comes before the store's
  std::atomic<std::int64_t> next_copy_{0};  // steady clock, ms

  std::mutex copy_mutex_;  // byte 2 of copy_lock_, for this process's threads
  FileLock copy_lock_;     // guarded by copy_mutex_
};

}  // namespace varnel::embedded
