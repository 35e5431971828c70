#include "platform/embedded/registry/store_environment.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include "platform/types.h"

namespace varnel::embedded {
namespace {

using namespace platform;

// A reader slot is held for the length of one view; this many may be open at once on a machine.
constexpr unsigned kReaderSlots = 1024;

// No sync: what must outlive the host is in the flushed copy. No thread-local readers: a host's threads come and go.
constexpr unsigned kFlags = MDB_NOSYNC | MDB_NOTLS;

MDB_val View(std::span<const std::byte> bytes) {
  return {bytes.size(), const_cast<std::byte*>(bytes.data())};
}

std::span<const std::byte> Bytes(const MDB_val& value) {
  return {static_cast<const std::byte*>(value.mv_data), value.mv_size};
}

}  // namespace

std::uint32_t ResultOf(int lmdb_result) {
  switch (lmdb_result) {
    case MDB_SUCCESS:
      return kErrorSuccess;
    case MDB_NOTFOUND:
      return kErrorFileNotFound;
    case MDB_MAP_FULL:
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kErrorDiskFull;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EACCES:
    case EPERM:
    case EROFS:
      return kErrorAccessDenied;
    case MDB_READERS_FULL:
    case MDB_TXN_FULL:
      return kErrorNoSystemResources;
    case MDB_CORRUPTED:
    case MDB_INVALID:
    case MDB_PAGE_NOTFOUND:
    case MDB_VERSION_MISMATCH:
    case MDB_INCOMPATIBLE:
    case MDB_BAD_DBI:
      return kErrorRegistryCorrupt;
    default:
      return kErrorRegistryIoFailed;
  }
}

std::uint32_t Transaction::Keep(int lmdb_result) {
  if (lmdb_result == MDB_MAP_FULL) out_of_room_ = true;
  return ResultOf(lmdb_result);
}

std::uint32_t Transaction::Get(const RecordPlace& place, std::span<const std::byte>* record) {
  const auto bytes = place.Encode();
  MDB_val key = View(bytes);
  MDB_val value;
  const int result = ::mdb_get(txn_, table_, &key, &value);
  if (result == MDB_SUCCESS) *record = Bytes(value);
  return Keep(result);
}

std::uint32_t Transaction::Put(const RecordPlace& place, std::size_t size, std::byte** room) {
  const auto bytes = place.Encode();
  MDB_val key = View(bytes);
  MDB_val value{size, nullptr};
  const int result = ::mdb_put(txn_, table_, &key, &value, MDB_RESERVE);
  if (result == MDB_SUCCESS) *room = static_cast<std::byte*>(value.mv_data);
  return Keep(result);
}

std::uint32_t Transaction::Delete(const RecordPlace& place) {
  const auto bytes = place.Encode();
  MDB_val key = View(bytes);
  return Keep(::mdb_del(txn_, table_, &key, nullptr));
}

std::uint32_t Transaction::Commit() {
  int result = ::mdb_txn_commit(std::exchange(txn_, nullptr));
  map_in_use_ = {};
  // A write that was cut short by a full disk comes back as an error of the device.
  if (result == EIO && environment_->DiskIsFull()) result = ENOSPC;
  return Keep(result);
}

void Transaction::Abort() {
  if (txn_ != nullptr) ::mdb_txn_abort(std::exchange(txn_, nullptr));
  map_in_use_ = {};
}

RecordCursor::~RecordCursor() {
  if (cursor_ != nullptr) ::mdb_cursor_close(cursor_);
}

std::uint32_t RecordCursor::Seek(const RecordPlace& place) {
  if (cursor_ == nullptr) {
    const std::uint32_t result =
        transaction_->Keep(::mdb_cursor_open(transaction_->txn_, transaction_->table_, &cursor_));
    if (result != kErrorSuccess) return result;
  }
  const auto bytes = place.Encode();
  return Move(MDB_SET_RANGE, View(bytes));
}

std::uint32_t RecordCursor::Next() {
  return Move(MDB_NEXT, MDB_val{});
}

std::uint32_t RecordCursor::Move(MDB_cursor_op operation, MDB_val key) {
  MDB_val value;
  const int result = ::mdb_cursor_get(cursor_, &key, &value, operation);
  at_end_ = result != MDB_SUCCESS;
  if (result == MDB_NOTFOUND) return kErrorSuccess;
  if (result != MDB_SUCCESS) return transaction_->Keep(result);
  place_bytes_ = Bytes(key);
  record_ = Bytes(value);
  const auto place = RecordPlace::Parse(place_bytes_);
  if (!place) return kErrorRegistryCorrupt;
  place_ = *place;
  return kErrorSuccess;
}

std::uint32_t StoreEnvironment::Open(const std::string& folder, const MapLimits& limits, bool alone,
                                     std::unique_ptr<StoreEnvironment>* out) {
  MDB_env* raw = nullptr;
  int result = ::mdb_env_create(&raw);
  if (result != MDB_SUCCESS) return ResultOf(result);
  std::unique_ptr<StoreEnvironment> opened(new StoreEnvironment(raw, limits));
  result = ::mdb_env_set_maxreaders(raw, kReaderSlots);
  if (result == MDB_SUCCESS) result = ::mdb_env_set_mapsize(raw, limits.initial);
  if (result == MDB_SUCCESS) result = ::mdb_env_open(raw, folder.c_str(), kFlags, 0666);
  if (result == MDB_SUCCESS && alone) result = opened->FillUp();
  if (result != MDB_SUCCESS) return ResultOf(result);
  int dead = 0;
  result = ::mdb_reader_check(raw, &dead);
  if (result != MDB_SUCCESS) return ResultOf(result);
  const std::uint32_t error = opened->OpenTable();
  if (error == kErrorSuccess) *out = std::move(opened);
  return error;
}

StoreEnvironment::~StoreEnvironment() {
  ::mdb_env_close(environment_);
}

// The library trusts the file to reach as far as its last page and would fault behind its end. Pages that were used and
// dropped within one change may rightly be missing there; anything else that is missing then reads as damage.
int StoreEnvironment::FillUp() {
  MDB_envinfo info;
  MDB_stat statistics;
  mdb_filehandle_t file = -1;
  struct stat status {};
  int result = ::mdb_env_info(environment_, &info);
  if (result == MDB_SUCCESS) result = ::mdb_env_stat(environment_, &statistics);
  if (result == MDB_SUCCESS) result = ::mdb_env_get_fd(environment_, &file);
  if (result != MDB_SUCCESS) return result;
  if (::fstat(file, &status) != 0) return errno;
  const auto wanted = static_cast<off_t>((info.me_last_pgno + 1) * statistics.ms_psize);
  return status.st_size >= wanted || ::ftruncate(file, wanted) == 0 ? MDB_SUCCESS : errno;
}

bool StoreEnvironment::DiskIsFull() const {
  constexpr fsblkcnt_t kFewBlocks = 64;
  mdb_filehandle_t file = -1;
  struct statvfs status {};
  return ::mdb_env_get_fd(environment_, &file) == 0 && ::fstatvfs(file, &status) == 0 && status.f_bavail < kFewBlocks;
}

std::uint32_t StoreEnvironment::OpenTable() {
  Transaction transaction;
  std::uint32_t error = BeginRead(&transaction);
  if (error != kErrorSuccess) return error;
  const int result = ::mdb_dbi_open(transaction.txn_, nullptr, 0, &table_);
  return result == MDB_SUCCESS ? transaction.Commit() : ResultOf(result);
}

std::uint32_t StoreEnvironment::Begin(unsigned flags, Transaction* transaction) {
  int result = TryBegin(flags, transaction);
  if (result == MDB_MAP_RESIZED) {
    // Another process has made the store larger than this one's map.
    result = TakeOverMap();
    if (result == MDB_SUCCESS) result = TryBegin(flags, transaction);
  }
  if (result == MDB_READERS_FULL) {
    int dead = 0;
    result = ::mdb_reader_check(environment_, &dead);
    if (result == MDB_SUCCESS) result = TryBegin(flags, transaction);
  }
  return ResultOf(result);
}

int StoreEnvironment::TryBegin(unsigned flags, Transaction* transaction) {
  transaction->Abort();
  transaction->out_of_room_ = false;
  std::shared_lock map_in_use(map_mutex_);
  const int result = ::mdb_txn_begin(environment_, nullptr, flags, &transaction->txn_);
  if (result != MDB_SUCCESS) {
    transaction->txn_ = nullptr;
    return result;
  }
  transaction->environment_ = this;
  transaction->table_ = table_;
  transaction->map_in_use_ = std::move(map_in_use);
  return MDB_SUCCESS;
}

int StoreEnvironment::TakeOverMap() {
  std::unique_lock alone(map_mutex_);
  return ::mdb_env_set_mapsize(environment_, 0);
}

std::uint32_t StoreEnvironment::Grow() {
  std::unique_lock alone(map_mutex_);
  MDB_envinfo info;
  const int result = ::mdb_env_info(environment_, &info);
  if (result != MDB_SUCCESS) return ResultOf(result);
  if (info.me_mapsize >= limits_.largest) return kErrorDiskFull;
  return ResultOf(::mdb_env_set_mapsize(environment_, std::min(info.me_mapsize * 2, limits_.largest)));
}

}  // namespace varnel::embedded
