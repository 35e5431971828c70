#include "platform/embedded/registry/registry_store.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unordered_set>

#include "platform/embedded/core/machine.h"
#include "platform/embedded/registry/key_tree.h"
#include "platform/embedded/registry/registry_access.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;
using namespace platform;

constexpr std::uint64_t kOpeningByte = 0;
constexpr std::uint64_t kOpenByte = 1;
constexpr std::uint64_t kCopyByte = 2;

std::int64_t SteadyMilliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::span<const std::byte> AsBytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

StoreOptions Completed(StoreOptions options) {
  if (options.host_boot_id.empty()) options.host_boot_id = HostBootId();
  if (options.io == nullptr) options.io = &HostCopyIo();
  return options;
}

std::uint32_t ReadStoreRecord(Transaction& view, StoreRecord* store) {
  std::span<const std::byte> bytes;
  const std::uint32_t found = view.Get(StoreRecord::Place(), &bytes);
  if (found != kErrorSuccess) return found;
  const auto parsed = StoreRecord::Parse(bytes);
  if (!parsed) return kErrorRegistryCorrupt;
  *store = *parsed;
  return kErrorSuccess;
}

// Tells, record by record in their order, what lasts: a key's record comes before those that stand under it.
class VolatileKeys {
 public:
  /// False for a damaged record.
  bool Passes(const RecordPlace& place, std::span<const std::byte> record, bool* passes) {
    *passes = keys_.count(place.parent) == 0;
    if (place.tag != RecordTag::kKey) return true;
    const auto key = KeyRecord::Parse(record);
    if (!key) return false;
    if (key->is_volatile) *passes = false;
    if (!*passes) keys_.insert(key->id);
    return true;
  }

 private:
  std::unordered_set<KeyId> keys_;
};

}  // namespace

RegistryStore::RegistryStore(std::string folder, const StoreOptions& options)
    : folder_(std::move(folder)), options_(Completed(options)), owner_process_(::getpid()) {}

RegistryStore::~RegistryStore() {
  if (environment_) FlushQuietly();
}

std::uint32_t RegistryStore::OpenLocked() {
  next_copy_ = SteadyMilliseconds() + options_.copy_interval.count();
  std::error_code error;
  fs::create_directories(folder_ + "/store", error);
  int failed = error ? error.value() : lock_.Open(folder_ + "/lock");
  if (failed == 0) failed = copy_lock_.Open(folder_ + "/lock");
  if (failed == 0) failed = lock_.Lock(kOpeningByte, FileLock::Mode::kExclusive);
  if (failed != 0) return ResultOf(failed);
  failed = lock_.TryLock(kOpenByte, FileLock::Mode::kExclusive);
  std::uint32_t result = failed == 0 ? OpenAlone() : failed == EAGAIN ? OpenEnvironment(false) : ResultOf(failed);
  if (result == kErrorSuccess && failed == EAGAIN) result = OpenCells(false);
  if (result == kErrorSuccess) result = ResultOf(lock_.Lock(kOpenByte, FileLock::Mode::kShared));
  if (result != kErrorSuccess) environment_.reset();
  lock_.Unlock(kOpeningByte);
  return result;
}

// No other process has the registry open, and none can open it now.
std::uint32_t RegistryStore::OpenAlone() {
  const std::string host = ReadText(folder_ + "/host");
  if (host == options_.host_boot_id && OpenEnvironment(true) == kErrorSuccess && CheckAll() == kErrorSuccess) {
    return OpenCells(true);
  }
  environment_.reset();
  const bool has_copy = fs::exists(CopyPath(folder_));
  // A store that was once finished has a copy: without one, what is missing must not pass for an empty registry.
  if (!has_copy && !host.empty()) return kErrorRegistryCorrupt;
  const std::string bytes = has_copy ? ReadText(CopyPath(folder_)) : std::string();
  const auto copy = RegistryCopy::Parse(AsBytes(bytes), options_.hash);
  if (has_copy && !copy.ok()) return kErrorRegistryCorrupt;
  std::uint32_t result = RemoveStoreFiles();
  if (result == kErrorSuccess) result = OpenEnvironment(true);
  if (result == kErrorSuccess) result = has_copy ? RebuildFrom(copy.value()) : BuildNew();
  if (result == kErrorSuccess) result = OpenCells(true);
  return result == kErrorSuccess ? RecordHost() : result;
}

std::uint32_t RegistryStore::OpenEnvironment(bool alone) {
  return StoreEnvironment::Open(folder_ + "/store", options_.map, alone, &environment_);
}

std::uint32_t RegistryStore::OpenCells(bool alone) {
  StoreRecord store;
  const std::uint32_t result = View([&](Transaction& view) { return ReadStoreRecord(view, &store); });
  return result == kErrorSuccess ? cells_.Open(folder_ + "/cells", store.epoch, alone) : result;
}

// Reads every record once, so that a store that was damaged from outside is noticed before anyone builds on it.
std::uint32_t RegistryStore::CheckAll() {
  return View([&](Transaction& view) -> std::uint32_t {
    KeyTree tree(&view, options_.hash);
    return tree.CheckAll();
  });
}

std::uint32_t RegistryStore::RemoveStoreFiles() {
  // The cells first: what is in them is of the store that goes.
  for (const char* name : {"/cells", "/store/data.mdb", "/store/lock.mdb"}) {
    if (::unlink((folder_ + name).c_str()) != 0 && errno != ENOENT) return ResultOf(errno);
  }
  return kErrorSuccess;
}

std::uint32_t RegistryStore::PutStoreRecord(Transaction& transaction, const StoreRecord& record) {
  const auto bytes = record.Encode();
  std::byte* room = nullptr;
  const std::uint32_t result = transaction.Put(StoreRecord::Place(), bytes.size(), &room);
  if (result == kErrorSuccess) std::memcpy(room, bytes.data(), bytes.size());
  return result;
}

std::uint32_t RegistryStore::RebuildFrom(const RegistryCopy& copy) {
  return Change([&](Transaction& transaction) -> std::uint32_t {
    StoreRecord store = copy.store;
    ++store.epoch;
    std::uint32_t result = PutStoreRecord(transaction, store);
    for (const CopyRecord& record : copy.records) {
      if (result != kErrorSuccess) break;
      std::byte* room = nullptr;
      result = transaction.Put(record.place, record.bytes.size(), &room);
      if (result == kErrorSuccess) std::memcpy(room, record.bytes.data(), record.bytes.size());
    }
    return result;
  });
}

std::uint32_t RegistryStore::BuildNew() {
  std::uint32_t result = Change([&](Transaction& transaction) -> std::uint32_t {
    const std::uint32_t put = PutStoreRecord(transaction, StoreRecord{1, kFirstOrdinaryKey});
    KeyTree tree(&transaction, options_.hash);
    return put != kErrorSuccess ? put : tree.CreateRoots();
  });
  if (result == kErrorSuccess) result = Flush();
  // The folder's own name must outlive a power failure too.
  if (result == kErrorSuccess) result = ResultOf(options_.io->SyncFolder(fs::path(folder_).parent_path()));
  return result;
}

// Not synced: after a restart of the host it names an earlier boot, whichever of its states the disk kept.
std::uint32_t RegistryStore::RecordHost() {
  const std::string path = folder_ + "/host";
  {
    std::ofstream out(path + ".new", std::ios::binary | std::ios::trunc);
    out << options_.host_boot_id;
    out.flush();
    if (!out) return kErrorDiskFull;
  }
  return ::rename((path + ".new").c_str(), path.c_str()) == 0 ? kErrorSuccess : ResultOf(errno);
}

std::uint32_t RegistryStore::Flush() {
  if (::getpid() != owner_process_) return kErrorNotSupported;
  const std::lock_guard alone(copy_mutex_);
  const int failed = copy_lock_.Lock(kCopyByte, FileLock::Mode::kExclusive);
  if (failed != 0) return ResultOf(failed);
  // The view begins under the lock: so a later writer's copy never holds less than an earlier one's.
  const std::uint32_t result = Read([&](Transaction& view) -> std::uint32_t {
    StoreRecord store;
    const std::uint32_t found = ReadStoreRecord(view, &store);
    return found == kErrorSuccess ? WriteCopy(view, CopyHeader{store.epoch, view.id(), FileTimeNow()}) : found;
  });
  copy_lock_.Unlock(kCopyByte);
  next_copy_ = SteadyMilliseconds() + options_.copy_interval.count();
  return result;
}

// For those whom a copy that can't be written must not fail: what it would hold is in the store all the same.
void RegistryStore::FlushQuietly() noexcept {
  Guarded([this] { return Flush(); });
}

std::uint32_t RegistryStore::WriteCopy(Transaction& view, const CopyHeader& header) {
  char start[kCopyHeaderSize] = {};
  std::ifstream(CopyPath(folder_), std::ios::binary).read(start, sizeof start);
  const auto present = ParseCopyHeader(std::as_bytes(std::span(start)));
  if (present.ok() && present.value().epoch == header.epoch && present.value().transaction == header.transaction) {
    return kErrorSuccess;
  }
  CopyWriter writer(options_.io, folder_);
  int failed = writer.Begin(header);
  if (failed != 0) return ResultOf(failed);
  VolatileKeys volatile_keys;
  RecordCursor cursor(&view);
  std::uint32_t result = cursor.Seek(RecordPlace{kNoKey, RecordTag::kKey, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    bool passes = false;
    if (!volatile_keys.Passes(cursor.place(), cursor.record(), &passes)) return kErrorRegistryCorrupt;
    if (passes) failed = writer.Add(cursor.place_bytes(), cursor.record());
    if (failed != 0) return ResultOf(failed);
  }
  return result == kErrorSuccess ? ResultOf(writer.Finish()) : result;
}

void RegistryStore::CopyIfDue() {
  const std::int64_t now = SteadyMilliseconds();
  std::int64_t due = next_copy_.load(std::memory_order_relaxed);
  if (now < due) return;
  // One thread goes; whether it succeeds or not, the next try comes an interval later. The change itself is accepted.
  if (!next_copy_.compare_exchange_strong(due, now + options_.copy_interval.count())) return;
  struct stat status {};
  if (::stat(CopyPath(folder_).c_str(), &status) == 0) {
    timespec wall{};
    ::clock_gettime(CLOCK_REALTIME, &wall);
    const std::int64_t age = (std::int64_t{wall.tv_sec} - status.st_mtim.tv_sec) * 1000 +
                             (wall.tv_nsec - status.st_mtim.tv_nsec) / 1'000'000;
    if (age >= 0 && age < options_.copy_interval.count()) {
      next_copy_ = now + options_.copy_interval.count() - age;  // another process has just written one
      return;
    }
  }
  FlushQuietly();
}

}  // namespace varnel::embedded
