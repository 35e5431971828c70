#include "platform/embedded/ring/session_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <thread>

#include "formats/etl_writer.h"
#include "platform/embedded/ring/processor_speed.h"
#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/steps.h"

namespace varnel::embedded::ring {
namespace {

constexpr std::uint32_t kFirst = formats::kEtlBufferHeaderSize;
constexpr std::uint32_t kWindowsBuild = 19045;
constexpr std::chrono::milliseconds kReadPatience{200};
constexpr int kTurns = 1000;  // so often a writer closes another buffer while one is being written out
constexpr std::uint32_t kTimerResolution = 156'250;  // 100 ns

/// Holds the signal back that a write beyond a file size limit raises, and takes it away if it came.
class NoSizeSignal {
 public:
  NoSizeSignal() noexcept {
    ::sigemptyset(&only_);
    ::sigaddset(&only_, SIGXFSZ);
    blocked_ = ::pthread_sigmask(SIG_BLOCK, &only_, &before_) == 0;
  }
  ~NoSizeSignal() {
    if (!blocked_ || ::sigismember(&before_, SIGXFSZ) == 1) return;
    const timespec at_once{};
    while (::sigtimedwait(&only_, nullptr, &at_once) < 0 && errno == EINTR) {
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoSizeSignal(const NoSizeSignal&) = delete;
  NoSizeSignal& operator=(const NoSizeSignal&) = delete;

 private:
  sigset_t only_;
  sigset_t before_;
  bool blocked_ = false;
};

std::u16string BoundedText(const char16_t* text, std::uint32_t length) {
  return std::u16string(text, std::min<std::size_t>(length, kMaximumName));
}

}  // namespace

bool WriteWhole(int fd, std::uint64_t offset, std::span<const std::byte> bytes) noexcept {
  const NoSizeSignal quiet;
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return true;
}

ComposedBuffer ComposeBuffer(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence,
                             std::span<std::byte> out) noexcept {
  const ReservationWord word = WordOf(map, slot);
  const BufferContent content = Survey(map, slot, word);
  const auto closed_at = map.descriptors()[slot].closed_at.load(std::memory_order_acquire);
  ComposedBuffer composed{content.events, content.lost,
                          std::max(content.last_stamp, static_cast<std::int64_t>(closed_at))};
  formats::EtlDataBuffer data;
  data.logger_id = static_cast<std::uint16_t>(map.constants().logger_id);
  data.flags = content.lost != 0 ? formats::kEtlBufferFlagEventsLost : std::uint16_t{0};
  data.sequence = static_cast<std::int64_t>(sequence);
  data.time_stamp = composed.closed_at;
  data.end = kFirst + CopyCommitted(map, slot, word, out.data() + kFirst);
  formats::FillEtlDataBuffer(data, out);
  return composed;
}

formats::EtlLogHeader DescribeFile(const ControlMap& map, const FilePlace& place, std::int64_t end_time) {
  const SessionConstants& constants = map.constants();
  const SessionFileNames& names = map.file_names();
  formats::EtlLogHeader header;
  header.buffer_size = constants.buffer_size;
  header.provider_version = kWindowsBuild;
  header.processors = std::max(constants.processors, 1u);
  header.cpu_speed_mhz = ProcessorMegahertz();
  header.end_time = end_time;
  header.timer_resolution = kTimerResolution;
  header.maximum_file_size = constants.maximum_file_size;
  header.log_file_mode = constants.log_file_mode;
  header.buffers_written =
      end_time == 0 ? 1 : static_cast<std::uint32_t>(FileShape::Of(constants).BuffersInFile(place.buffers_written));
  const std::uint64_t lost = place.events_lost + map.words().events_lost.load(std::memory_order_relaxed);
  header.events_lost = static_cast<std::uint32_t>(lost);
  header.buffers_lost = static_cast<std::uint32_t>(place.buffers_lost);
  header.boot_time = constants.boot_time;
  header.perf_freq = static_cast<std::int64_t>(constants.clock_frequency);
  header.start_time = constants.start_time;
  header.clock_type = formats::kEtlClockPerformanceCounter;
  header.logger_name = BoundedText(constants.name, constants.name_length);
  header.log_file_name = BoundedText(names.log_file_name, names.log_file_name_length);
  header.process_id = constants.creator_process;
  header.thread_id = constants.creator_thread;
  header.origin_stamp = constants.start_stamp;
  return header;
}

SessionFile::SessionFile(std::shared_ptr<ControlMap> map, std::string lock_path, std::string root)
    : map_(std::move(map)),
      lock_path_(std::move(lock_path)),
      root_(std::move(root)),
      shape_(FileShape::Of(map_->constants())) {
  // At once: the folder goes when the session ends, and what is still to be read then needs the lock.
  EnsureLockFd();
}

SessionFile::Held::Held(SessionFile& file, LockKind kind, Wait wait) noexcept
    : file_(file), inner_(file.mutex_, std::defer_lock) {
  const auto deadline = std::chrono::steady_clock::now() + kLockPatience;
  while (!inner_.try_lock()) {
    if (wait == Wait::kNo || std::chrono::steady_clock::now() >= deadline) return;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  if (!file.EnsureLockFd()) return;
  ok_ = wait == Wait::kNo ? TryLock(file.lock_fd_.get(), kind) : LockWithin(file.lock_fd_.get(), kind, kLockPatience);
}

SessionFile::Held::~Held() {
  if (ok_) Unlock(file_.lock_fd_.get());
}

bool SessionFile::EnsureLockFd() noexcept {
  if (!lock_fd_.valid()) lock_fd_ = UniqueFd(::open(lock_path_.c_str(), O_RDWR | O_CLOEXEC));
  return lock_fd_.valid();
}

bool SessionFile::IsInsideRoot(int fd) const noexcept {
  char link[32];
  char path[kMaximumHostPath];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t size = ::readlink(link, path, sizeof path);
  return size > static_cast<ssize_t>(root_.size()) && std::memcmp(path, root_.data(), root_.size()) == 0 &&
         path[root_.size()] == '/';
}

int SessionFile::DataFd() noexcept {
  const std::uint32_t generation = map_->words().file_generation.load(std::memory_order_acquire);
  if (data_fd_.valid() && generation == data_generation_) return data_fd_.get();
  data_fd_.Reset();
  const SessionFileNames& names = map_->file_names();
  if (std::memchr(names.host_path, '\0', sizeof names.host_path) == nullptr) return -1;
  UniqueFd fd(::open(names.host_path, O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  struct stat info {};
  // A file that took the path since the session began is another one's.
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || info.st_dev != names.device || info.st_ino != names.inode) {
    return -1;
  }
  if (!S_ISREG(info.st_mode) || !IsInsideRoot(fd.get())) return -1;
  data_fd_ = std::move(fd);
  data_generation_ = generation;
  return data_fd_.get();
}

bool SessionFile::HasClosed() const noexcept {
  const std::uint64_t next = PassedBelow(*map_);
  const OpenBuffer open = map_->open();
  if (next < open.sequence) return true;
  return next == open.sequence && open.slot < map_->descriptors().size() && WordOf(*map_, open.slot).closed;
}

bool SessionFile::WriteClosed(const Participant& self, Wait wait) noexcept {
  // Whoever closed a buffer while another held the lock has left it to that holder, so a holder looks once more.
  bool all = !HasClosed();
  for (int turn = 0; !all; ++turn) {
    if (turn == kTurns) return false;
    {
      const Held held(*this, LockKind::kExclusive, wait);
      if (!held.ok()) return false;
      all = PassAll(self, wait);
    }
    if (!all) return false;
    all = !HasClosed();
  }
  return true;
}

bool SessionFile::PassAll(const Participant& self, Wait wait) noexcept {
  for (;;) {
    FilePlace place = ReadPlace(*map_);
    const OpenBuffer open = map_->open();
    if (place.next_sequence > open.sequence) return true;
    // At most a ring of buffers waits, each of them closed. Anything else comes of foreign bytes and is passed as lost.
    const std::uint64_t ring = map_->constants().buffer_count;
    const std::uint64_t behind = open.sequence - place.next_sequence;
    const auto slot = behind > ring ? std::nullopt : FindBuffer(*map_, place.next_sequence);
    if (!slot || !WordOf(*map_, *slot).closed) {
      if (behind == 0) return true;
      const std::uint64_t passed = behind > ring ? behind - ring : 1;
      place.buffers_lost += passed;
      place.next_sequence += passed;
      StorePlace(*map_, place);
      continue;
    }
    const SealResult sealed = wait == Wait::kYes ? SealWithin(*map_, self, *slot, place.next_sequence)
                                                 : TrySeal(*map_, self, *slot, place.next_sequence);
    if (sealed != SealResult::kSealed) return false;
    PassBuffer(*slot, place.next_sequence, place);
  }
}

void SessionFile::PassBuffer(std::uint32_t slot, std::uint64_t sequence, FilePlace place) noexcept {
  scratch_.resize(map_->buffer_size());
  const ComposedBuffer composed = ComposeBuffer(*map_, slot, sequence, scratch_);
  place.events_lost += composed.lost;
  if (composed.events != 0) {
    const bool wanted = map_->constants().has_file != 0;
    const int fd = wanted && !shape_.IsFull(place.buffers_written) ? DataFd() : -1;
    if (!wanted || (fd >= 0 && WriteWhole(fd, shape_.OffsetAfter(place.buffers_written), scratch_))) {
      ++place.buffers_written;
      ++place.total_written;
    } else {
      ++place.buffers_lost;
      place.events_lost += composed.events;
    }
  }
  At(Step::kWritten);
  place.next_sequence = sequence + 1;
  place.last_stamp = std::max(place.last_stamp, composed.closed_at);
  StorePlace(*map_, place);
  At(Step::kPlaced);
  std::uint64_t sealed = Phase{Phase::State::kSealed, sequence}.Pack();
  map_->descriptors()[slot].phase.compare_exchange_strong(sealed, Phase{Phase::State::kFree, sequence}.Pack(),
                                                          std::memory_order_seq_cst);
}

bool SessionFile::WriteEnd(std::int64_t end_time) noexcept {
  if (map_->constants().has_file == 0) return true;
  const Held held(*this, LockKind::kExclusive, Wait::kYes);
  if (!held.ok() || DataFd() < 0) return false;
  const FilePlace place = ReadPlace(*map_);
  scratch_.resize(map_->buffer_size());
  const auto header = DescribeFile(*map_, place, end_time);
  if (!formats::FillEtlHeaderBuffer(header, static_cast<std::uint16_t>(map_->constants().logger_id), scratch_)) {
    return false;
  }
  const std::uint64_t size = shape_.BuffersInFile(place.buffers_written) * shape_.buffer_size;
  struct stat info {};
  if (::fstat(DataFd(), &info) == 0 && static_cast<std::uint64_t>(info.st_size) > size) {
    static_cast<void>(::ftruncate(DataFd(), static_cast<off_t>(size)) == 0);
  }
  return WriteWhole(DataFd(), 0, scratch_);
}

std::uint64_t SessionFile::BuffersOnDisk() noexcept {
  const std::lock_guard inner(mutex_);
  struct stat info {};
  if (DataFd() < 0 || ::fstat(DataFd(), &info) != 0) return 0;
  return static_cast<std::uint64_t>(info.st_size) / shape_.buffer_size;
}

std::uint64_t SessionFile::NextPlaceOnDisk(std::uint64_t place) noexcept {
  const std::lock_guard inner(mutex_);
  const std::uint64_t size = shape_.buffer_size;
  if (DataFd() < 0 || place > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()) / size) return ~0ULL;
  const off_t data = ::lseek(DataFd(), static_cast<off_t>(place * size), SEEK_DATA);
  if (data >= 0) return std::max(place, static_cast<std::uint64_t>(data) / size);
  return errno == ENXIO ? ~0ULL : place;  // a file system that knows no holes
}

bool SessionFile::ReadAt(std::uint64_t offset, std::span<std::byte> into) noexcept {
  const int fd = DataFd();
  while (fd >= 0 && !into.empty()) {
    const ssize_t got = ::pread(fd, into.data(), into.size(), static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    into = into.subspan(static_cast<std::size_t>(got));
    offset += static_cast<std::uint64_t>(got);
  }
  return fd >= 0;
}

bool SessionFile::ReadBesideWriter(std::uint64_t offset, std::span<std::byte> into) noexcept {
  const std::uint64_t before = ReadPlace(*map_).buffers_written;
  if (!ReadAt(offset, into)) return false;
  const std::uint64_t after = ReadPlace(*map_).buffers_written;
  if (after - before >= shape_.capacity && shape_.circular) return false;
  // The writer was at these places while the bytes were read.
  for (std::uint64_t written = before; written <= after; ++written) {
    if (shape_.OffsetAfter(written) / shape_.buffer_size == offset / shape_.buffer_size) return false;
  }
  return true;
}

bool SessionFile::ReadShared(std::uint64_t offset, std::span<std::byte> into) noexcept {
  const std::lock_guard inner(mutex_);
  if (!EnsureLockFd()) return false;
  const int lock = lock_fd_.get();
  const bool held =
      holder_stands_ ? TryLock(lock, LockKind::kShared) : LockWithin(lock, LockKind::kShared, kReadPatience);
  holder_stands_ = !held;
  const bool read = held ? ReadAt(offset, into) : ReadBesideWriter(offset, into);
  if (held) Unlock(lock);
  return read;
}

}  // namespace varnel::embedded::ring
