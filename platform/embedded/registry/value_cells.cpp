#include "platform/embedded/registry/value_cells.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/registry/store_environment.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

using namespace platform;

constexpr char kMagic[8] = {'V', 'W', 'R', 'C', 'E', 'L', 'L', 'S'};
constexpr std::uint32_t kVersion = 1;

constexpr std::uint32_t kSlotBit = 1;   // which of the two data slots counts
constexpr std::uint32_t kDirtyBit = 2;  // the store does not have it yet

constexpr std::uint64_t kNumberLimit = std::uint64_t{1} << 62;  // never reached by counting

static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free);

}  // namespace

// A word that decides alone what counts is stored last, so that a writer that is killed between two stores leaves what
// was there before or what it was about to accept.
struct alignas(64) Cell {
  std::atomic<std::uint64_t> number;  // of the binding; 0: free
  std::atomic<std::uint32_t> state;   // kSlotBit, kDirtyBit
  std::uint32_t type;
  std::uint32_t size;
  std::uint32_t slot;
  std::uint64_t parent;
  std::uint64_t name_hash;
  std::byte unused[24];
  std::byte data[2][ValueCells::kMaxData];

  bool IsGood() const {
    return size <= ValueCells::kMaxData && slot <= 0xFFFF && parent != kNoKey && number < kNumberLimit &&
           (state & ~(kSlotBit | kDirtyBit)) == 0;
  }
  RecordPlace Place() const { return {parent, RecordTag::kValue, name_hash, static_cast<std::uint16_t>(slot)}; }
  bool Fits(std::uint32_t wanted_type, std::size_t wanted_size) const {
    return type == wanted_type && size == wanted_size;
  }
};

struct CellsFile {
  char magic[8];
  std::uint32_t version;
  std::uint32_t cell_count;
  std::uint64_t epoch;  // of the store
  std::atomic<std::uint64_t> next_number;
  std::atomic<std::uint32_t> dirty_count;  // never below the number of dirty cells
  std::uint32_t unused;
  alignas(64) pthread_mutex_t mutex;
  alignas(64) Cell cells[ValueCells::kCells];
};
static_assert(sizeof(Cell) == 192);

namespace {

bool IsOfStore(const CellsFile& file, std::uint64_t epoch) {
  return std::memcmp(file.magic, kMagic, sizeof kMagic) == 0 && file.version == kVersion &&
         file.cell_count == ValueCells::kCells && file.epoch == epoch;
}

int InitializeMutex(pthread_mutex_t* mutex) {
  std::memset(static_cast<void*>(mutex), 0, sizeof *mutex);
  pthread_mutexattr_t attributes;
  int error = ::pthread_mutexattr_init(&attributes);
  if (error != 0) return error;
  error = ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  if (error == 0) error = ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  if (error == 0) error = ::pthread_mutex_init(mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
  return error;
}

void MakeEmpty(CellsFile* file, std::uint64_t epoch) {
  std::memset(static_cast<void*>(file), 0, sizeof *file);
  file->version = kVersion;
  file->cell_count = ValueCells::kCells;
  file->epoch = epoch;
  std::memcpy(file->magic, kMagic, sizeof kMagic);
}

}  // namespace

ValueCells::~ValueCells() {
  if (file_ != nullptr) ::munmap(file_, sizeof *file_);
}

std::uint32_t ValueCells::Open(const std::string& path, std::uint64_t epoch, bool alone) {
  const UniqueFd file(::open(path.c_str(), O_RDWR | O_CLOEXEC | (alone ? O_CREAT : 0), 0666));
  if (!file.valid()) return errno == ENOENT ? kErrorRegistryCorrupt : ResultOf(errno);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return ResultOf(errno);
  if (alone) {
    if (::ftruncate(file.get(), sizeof(CellsFile)) != 0) return ResultOf(errno);
    // A hole that a full disk can't fill would end the process at the first store to it.
    const int error = ::posix_fallocate(file.get(), 0, sizeof(CellsFile));
    if (error != 0) return ResultOf(error);
  } else if (status.st_size != sizeof(CellsFile)) {
    return kErrorRegistryCorrupt;
  }
  return Map(file.get(), epoch, alone);
}

std::uint32_t ValueCells::Map(int file, std::uint64_t epoch, bool alone) {
  void* const memory = ::mmap(nullptr, sizeof(CellsFile), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return ResultOf(errno);
  file_ = static_cast<CellsFile*>(memory);
  if (!alone) return IsOfStore(*file_, epoch) ? kErrorSuccess : kErrorRegistryCorrupt;
  if (!IsOfStore(*file_, epoch)) MakeEmpty(file_, epoch);
  Recount();
  // Nobody else can hold it: whatever stands there is of a process that is gone.
  return ResultOf(InitializeMutex(&file_->mutex));
}

// What a holder that was killed, or a file from an earlier process, may have left: a count that is not that of the
// cells, and nothing else; a cell that can't be read is dropped all the same.
void ValueCells::Recount() {
  std::uint32_t dirty = 0;
  std::uint64_t next = file_->next_number < kNumberLimit ? std::max<std::uint64_t>(file_->next_number, 1) : 1;
  for (Cell& cell : file_->cells) {
    if (cell.number == 0 || !cell.IsGood()) {
      cell.number = 0;
      cell.state = 0;
    }
    next = std::max(next, cell.number + 1);
    if ((cell.state & kDirtyBit) != 0) ++dirty;
  }
  file_->next_number = next;
  file_->dirty_count = dirty;
}

std::uint32_t ValueCells::Lock() {
  int error = ::pthread_mutex_lock(&file_->mutex);
  if (error == EOWNERDEAD) {
    Recount();
    error = ::pthread_mutex_consistent(&file_->mutex);
  }
  return ResultOf(error);
}

void ValueCells::Unlock() {
  ::pthread_mutex_unlock(&file_->mutex);
}

bool ValueCells::is_dirty() const {
  return file_ != nullptr && file_->dirty_count.load(std::memory_order_acquire) != 0;
}

bool ValueCells::Put(const Binding& binding, std::span<const std::byte> data) {
  Cell& cell = file_->cells[binding.cell];
  if (binding.number == 0 || cell.number.load(std::memory_order_relaxed) != binding.number) return false;
  const std::uint32_t state = cell.state.load(std::memory_order_relaxed);
  // Counted first: a reader that sees no dirty cell must never meet one later that nobody was still setting.
  if ((state & kDirtyBit) == 0) {
    file_->dirty_count.store(file_->dirty_count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  const std::uint32_t next = (state ^ kSlotBit) | kDirtyBit;
  if (!data.empty()) std::memcpy(cell.data[next & kSlotBit], data.data(), data.size());
  cell.state.store(next, std::memory_order_release);
  return true;
}

ValueCells::Binding ValueCells::Bind(const RecordPlace& place, std::uint32_t type, std::size_t size) {
  std::uint32_t chosen = kCells;
  for (std::uint32_t i = 0; i < kCells; ++i) {
    const Cell& cell = file_->cells[i];
    if (cell.number != 0 && cell.Place() == place) return {i, cell.number};
    if (cell.number == 0 && chosen == kCells) chosen = i;
  }
  if (chosen == kCells) chosen = next_victim_++ % kCells;
  Cell& cell = file_->cells[chosen];
  cell.number.store(0, std::memory_order_release);
  cell.state = 0;
  cell.type = type;
  cell.size = static_cast<std::uint32_t>(size);
  cell.parent = place.parent;
  cell.name_hash = place.name_hash;
  cell.slot = place.slot;
  const std::uint64_t number = file_->next_number.fetch_add(1);
  cell.number.store(number, std::memory_order_release);
  return {chosen, number};
}

void ValueCells::UnbindUnless(const RecordPlace& place, std::uint32_t type, std::size_t size) {
  for (Cell& cell : file_->cells) {
    if (cell.number != 0 && cell.Place() == place && !cell.Fits(type, size)) cell.number = 0;
  }
}

void ValueCells::UnbindAll() {
  for (Cell& cell : file_->cells) cell.number.store(0, std::memory_order_release);
}

bool ValueCells::Dirty(std::uint32_t index, Content* content) const {
  const Cell& cell = file_->cells[index];
  const std::uint32_t state = cell.state;
  if (cell.number == 0 || (state & kDirtyBit) == 0) return false;
  // Its size is read from memory that other programs can write.
  const std::size_t size = std::min<std::size_t>(cell.size, kMaxData);
  *content = {cell.Place(), cell.type, {cell.data[state & kSlotBit], size}};
  return true;
}

void ValueCells::Discard(std::uint32_t index) {
  file_->cells[index].number = 0;
  file_->cells[index].state = 0;
}

void ValueCells::MarkClean(std::uint32_t index) {
  Cell& cell = file_->cells[index];
  cell.state.store(cell.state.load(std::memory_order_relaxed) & kSlotBit, std::memory_order_relaxed);
}

void ValueCells::MarkAllClean() {
  file_->dirty_count.store(0, std::memory_order_release);
}

}  // namespace varnel::embedded
