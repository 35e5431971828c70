// StoreEnvironment: the open LMDB environment of one registry folder, with its transactions. Wraps what the library
// asks of its callers: one environment for a folder and process, no transaction open while the map grows, a changed map
// taken over, dead readers cleared. Results are Win32 error numbers. Any thread may call; a Transaction stays on its
// thread.
#pragma once

#include <lmdb.h>

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <span>
#include <string>

#include "platform/embedded/registry/registry_records.h"

namespace varnel::embedded {

/// The Win32 number for a result of the library or an errno value. 112 for a full disk or a full map.
std::uint32_t ResultOf(int lmdb_result);

class StoreEnvironment;

/// A short view of the store, or a change to it. A change that is not committed is undone by the end of the object.
class Transaction {
 public:
  Transaction() = default;
  ~Transaction() { Abort(); }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// The bytes stay valid until the next change or the end of the transaction. 2 when there is no such record.
  std::uint32_t Get(const RecordPlace& place, std::span<const std::byte>* record);
  /// Makes room for a record of that size, in place of one that stood there; the caller fills it before the next call.
  std::uint32_t Put(const RecordPlace& place, std::size_t size, std::byte** room);
  std::uint32_t Delete(const RecordPlace& place);
  std::uint32_t Commit();
  void Abort();

  /// Of a view: the last change that it sees.
  std::uint64_t id() const { return ::mdb_txn_id(txn_); }
  /// True when a call failed for want of room in the map: the change can be made again after StoreEnvironment::Grow.
  bool out_of_room() const { return out_of_room_; }

 private:
  friend class StoreEnvironment;
  friend class RecordCursor;

  std::uint32_t Keep(int lmdb_result);

  const StoreEnvironment* environment_ = nullptr;
  MDB_txn* txn_ = nullptr;
  MDB_dbi table_ = 0;
  bool out_of_room_ = false;
  std::shared_lock<std::shared_mutex> map_in_use_;
};

/// Walks records in the order of their places. The transaction outlives it.
class RecordCursor {
 public:
  explicit RecordCursor(Transaction* transaction) : transaction_(transaction) {}
  ~RecordCursor();
  RecordCursor(const RecordCursor&) = delete;
  RecordCursor& operator=(const RecordCursor&) = delete;

  /// Moves to the first record at the place or behind it.
  std::uint32_t Seek(const RecordPlace& place);
  std::uint32_t Next();

  bool at_end() const { return at_end_; }
  const RecordPlace& place() const { return place_; }
  std::span<const std::byte> place_bytes() const { return place_bytes_; }
  std::span<const std::byte> record() const { return record_; }

 private:
  std::uint32_t Move(MDB_cursor_op operation, MDB_val key);

  Transaction* const transaction_;
  MDB_cursor* cursor_ = nullptr;
  bool at_end_ = true;
  RecordPlace place_;
  std::span<const std::byte> place_bytes_;
  std::span<const std::byte> record_;
};

struct MapLimits {
  std::size_t initial = 16u << 20;
  std::size_t largest = std::size_t{4} << 30;
};

class StoreEnvironment {
 public:
  /// Opens "data.mdb" in the folder, or makes it. 1015 for a file that is none. `alone` says that no other process has
  /// it open, which lets a file that was cut short be made safe to read. REQUIRES: this process doesn't have it open.
  static std::uint32_t Open(const std::string& folder, const MapLimits& limits, bool alone,
                            std::unique_ptr<StoreEnvironment>* out);
  ~StoreEnvironment();
  StoreEnvironment(const StoreEnvironment&) = delete;
  StoreEnvironment& operator=(const StoreEnvironment&) = delete;

  std::uint32_t BeginRead(Transaction* transaction) { return Begin(MDB_RDONLY, transaction); }
  /// Waits for the writer at work, in whichever process.
  std::uint32_t BeginWrite(Transaction* transaction) { return Begin(0, transaction); }
  /// Doubles the map. 112 at the limit. REQUIRES: the calling thread has no transaction.
  std::uint32_t Grow();

 private:
  friend class Transaction;

  StoreEnvironment(MDB_env* environment, const MapLimits& limits) : environment_(environment), limits_(limits) {}

  std::uint32_t Begin(unsigned flags, Transaction* transaction);
  int TryBegin(unsigned flags, Transaction* transaction);
  int TakeOverMap();
  std::uint32_t OpenTable();
  int FillUp();
  bool DiskIsFull() const;

  MDB_env* const environment_;
  const MapLimits limits_;
  MDB_dbi table_ = 0;
  std::shared_mutex map_mutex_;  // shared by transactions, exclusive while the map changes
};

}  // namespace varnel::embedded
