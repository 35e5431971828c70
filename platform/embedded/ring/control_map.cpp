#include "platform/embedded/ring/control_map.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "formats/etl_format.h"
#include "platform/embedded/ring/ofd_lock.h"

namespace varnel::embedded::ring {
namespace {

using formats::Error;
using formats::Result;
using formats::Status;

Error Bad(const std::string& path, const char* what) {
  return Error{path + ": not a session's control file: " + what};
}

Error SystemFailure(const std::string& path) {
  return Error{path + ": " + std::strerror(errno)};
}

std::uint64_t NextInstance() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool HasNul(const char* text, std::size_t size) {
  return std::memchr(text, '\0', size) != nullptr;
}

/// @return what is wrong, or null.
const char* CheckConstants(const SessionConstants& c, std::uint64_t file_size) {
  if (c.magic != kControlMagic) return "magic";
  if (c.version != kControlVersion) return "version";
  if (c.header_size != kHeaderSize) return "header size";
  if (c.participant_count != kParticipants) return "participant count";
  if (c.buffer_count < kMinimumBufferCount || c.buffer_count > kMaximumBufferCount) return "buffer count";
  if (c.buffer_size < kMinimumBufferSize || c.buffer_size > kMaximumBufferSize) return "buffer size";
  if (c.buffer_size % 1024 != 0) return "buffer size";
  const ControlGeometry geometry{c.buffer_count, c.buffer_size};
  if (c.total_size != geometry.total() || file_size != c.total_size) return "total size";
  if (c.id == 0 || c.logger_id != (c.id & 0xFFFF)) return "id";
  if (c.clock_frequency == 0 || c.clock_frequency > 1'000'000'000'000) return "clock frequency";
  constexpr std::int64_t kLatest = std::int64_t{1} << 61;  // times beyond it belong to no clock
  if (c.start_stamp < 0 || c.start_stamp > kLatest || c.start_time < 0 || c.start_time > kLatest) return "clock origin";
  if (c.name_length == 0 || c.name_length > kMaximumName || c.name[c.name_length] != 0) return "name";
  if (!HasNul(c.host_boot_id, sizeof c.host_boot_id)) return "host boot";
  return nullptr;
}

Result<SessionConstants> ReadConstantsOf(int fd, const std::string& path) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return SystemFailure(path);
  SessionConstants constants;
  if (::pread(fd, &constants, sizeof constants, 0) != static_cast<ssize_t>(sizeof constants)) {
    return Bad(path, "too short");
  }
  const char* wrong = CheckConstants(constants, static_cast<std::uint64_t>(info.st_size));
  if (wrong != nullptr) return Bad(path, wrong);
  return constants;
}

std::byte* MapShared(int fd, std::uint64_t size) {
  void* base = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return base == MAP_FAILED ? nullptr : static_cast<std::byte*>(base);
}

void FillNew(std::byte* base, const SessionConstants& constants, const SessionFileNames& file,
             std::uint64_t flush_ticks) {
  const ControlGeometry geometry{constants.buffer_count, constants.buffer_size};
  auto* header = reinterpret_cast<ControlHeader*>(base);
  std::memcpy(&header->constants, &constants, sizeof constants);
  std::memcpy(&header->file, &file, sizeof file);
  header->words.flush_ticks.store(flush_ticks, std::memory_order_relaxed);
  header->words.state.store(static_cast<std::uint32_t>(SessionState::kRunning), std::memory_order_relaxed);
  header->words.places[0].next_sequence.store(1, std::memory_order_relaxed);
  auto* descriptors = reinterpret_cast<BufferDescriptor*>(base + geometry.descriptors());
  const ReservationWord word{ReservationWord::GenerationOf(1), false, 0, formats::kEtlBufferHeaderSize};
  descriptors[0].word.store(word.Pack(), std::memory_order_relaxed);
  descriptors[0].phase.store(Phase{Phase::State::kActive, 1}.Pack(), std::memory_order_relaxed);
  header->words.open.store(OpenBuffer{1, 0}.Pack(), std::memory_order_release);
}

}  // namespace

std::uint64_t ControlGeometry::buffers() const noexcept {
  const std::uint64_t end = descriptors() + std::uint64_t{buffer_count} * sizeof(BufferDescriptor);
  return (end + kPageSize - 1) / kPageSize * kPageSize;
}

Status ControlMap::Create(const std::string& path, SessionConstants constants, const SessionFileNames& file,
                          std::uint64_t flush_ticks) {
  constants.magic = kControlMagic;
  constants.version = kControlVersion;
  constants.header_size = kHeaderSize;
  constants.participant_count = kParticipants;
  constants.total_size = ControlGeometry{constants.buffer_count, constants.buffer_size}.total();
  if (const char* wrong = CheckConstants(constants, constants.total_size); wrong != nullptr) return Bad(path, wrong);

  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (!fd.valid()) return SystemFailure(path);
  // Every block is there before anyone stores through the mapping, since a store can't report a full disk.
  if (const int error = ::posix_fallocate(fd.get(), 0, static_cast<off_t>(constants.total_size)); error != 0) {
    errno = error;
    return SystemFailure(path);
  }
  std::byte* base = MapShared(fd.get(), constants.total_size);
  if (base == nullptr) return SystemFailure(path);
  FillNew(base, constants, file, flush_ticks);
  ::munmap(base, constants.total_size);
  return formats::Ok();
}

Result<std::shared_ptr<ControlMap>> ControlMap::Open(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!fd.valid()) return SystemFailure(path);
  const auto constants = ReadConstantsOf(fd.get(), path);
  if (!constants.ok()) return constants.error();
  std::byte* base = MapShared(fd.get(), constants.value().total_size);
  if (base == nullptr) return SystemFailure(path);
  return std::shared_ptr<ControlMap>(new ControlMap(base, constants.value(), constants.value().total_size));
}

ControlMap::ControlMap(std::byte* base, const SessionConstants& constants, std::uint64_t size)
    : size_(size),
      instance_(NextInstance()),
      constants_(constants),
      header_(reinterpret_cast<ControlHeader*>(base)),
      participants_(reinterpret_cast<ParticipantLine*>(
          base + ControlGeometry{constants.buffer_count, constants.buffer_size}.participants())),
      descriptors_(reinterpret_cast<BufferDescriptor*>(
          base + ControlGeometry{constants.buffer_count, constants.buffer_size}.descriptors())),
      buffers_(base + ControlGeometry{constants.buffer_count, constants.buffer_size}.buffers()) {}

ControlMap::~ControlMap() {
  ::munmap(header_, size_);
}

Result<ControlGlance> GlanceAt(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.valid()) return SystemFailure(path);
  const auto constants = ReadConstantsOf(fd.get(), path);
  if (!constants.ok()) return constants.error();
  ControlGlance glance{constants.value()};
  constexpr std::size_t kState = offsetof(ControlHeader, words) + offsetof(SessionWords, state);
  std::uint64_t ids[2];
  std::uint32_t state;
  static_assert(offsetof(SessionFileNames, inode) == offsetof(SessionFileNames, device) + sizeof ids[0]);
  if (::pread(fd.get(), ids, sizeof ids, offsetof(ControlHeader, file)) != static_cast<ssize_t>(sizeof ids) ||
      ::pread(fd.get(), &state, sizeof state, kState) != static_cast<ssize_t>(sizeof state)) {
    return Bad(path, "too short");
  }
  glance.state = static_cast<SessionState>(state);
  glance.device = ids[0];
  glance.inode = ids[1];
  return glance;
}

}  // namespace varnel::embedded::ring
