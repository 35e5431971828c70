#include "tests/scenario/trace_log.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace varnel::scenario {
namespace {

// A run of some minutes; what is not used stays a hole in the file.
constexpr std::uint64_t kRecords = std::uint64_t{1} << 16;
constexpr std::size_t kHeader = 64;  // its first 8 bytes count the records that were begun
constexpr std::size_t kFileSize = kHeader + kRecords * sizeof(TraceRecord);

}  // namespace

TraceLog* TraceLog::FromEnvironment() {
  const char* path = std::getenv(kTraceLogVariable);
  if (path == nullptr) return nullptr;
  const int fd = ::open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0) return nullptr;
  void* base = ::mmap(nullptr, kFileSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  ::close(fd);
  return base == MAP_FAILED ? nullptr : new TraceLog(static_cast<std::byte*>(base));
}

void TraceLog::Add(const TraceRecord& record) noexcept {
  const std::atomic_ref<std::uint64_t> begun(*reinterpret_cast<std::uint64_t*>(base_));
  const std::uint64_t index = begun.fetch_add(1, std::memory_order_relaxed);
  if (index >= kRecords) return;
  std::byte* place = base_ + kHeader + index * sizeof record;
  constexpr std::size_t kKindSize = sizeof record.kind;
  std::memcpy(place + kKindSize, reinterpret_cast<const std::byte*>(&record) + kKindSize, sizeof record - kKindSize);
  // The kind comes last: a record without one was cut by the kill.
  const std::atomic_ref<std::uint32_t> kind(*reinterpret_cast<std::uint32_t*>(place));
  kind.store(static_cast<std::uint32_t>(record.kind), std::memory_order_release);
}

bool MakeTraceLog(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool made = ::ftruncate(fd, kFileSize) == 0;
  ::close(fd);
  return made;
}

std::vector<TraceRecord> ReadTraceLog(const std::string& path, bool* complete) {
  std::vector<TraceRecord> records;
  std::ifstream in(path, std::ios::binary);
  std::uint64_t begun = 0;
  in.read(reinterpret_cast<char*>(&begun), sizeof begun);
  in.seekg(kHeader);
  *complete = in.good() && begun <= kRecords;
  if (!*complete) return records;
  records.resize(begun);
  in.read(reinterpret_cast<char*>(records.data()), static_cast<std::streamsize>(begun * sizeof(TraceRecord)));
  *complete = in.good();
  std::erase_if(records, [](const TraceRecord& record) { return record.kind == TraceRecord::Kind::kNone; });
  return records;
}

}  // namespace varnel::scenario
