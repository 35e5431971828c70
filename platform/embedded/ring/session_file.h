// SessionFile: takes a session's closed buffers to its .etl, in order, under the session's file lock. Every process
// that has the session mapped has one, and whichever comes by does the work. Any thread may call.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "formats/etl_log_header.h"
#include "platform/embedded/ring/control_map.h"
#include "platform/embedded/ring/file_place.h"
#include "platform/embedded/ring/ofd_lock.h"
#include "platform/embedded/ring/participant.h"

namespace varnel::embedded::ring {

/// Copies a sealed buffer as it stands in the file to `out` (a buffer's size): without what was revoked, without the
/// ring's own marks. @return the events in it and the events lost from it.
struct ComposedBuffer {
  std::uint32_t events = 0;
  std::uint32_t lost = 0;
  std::int64_t closed_at = 0;  // session clock
};
ComposedBuffer ComposeBuffer(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence,
                             std::span<std::byte> out) noexcept;

/// The facts of the session's file header. `end_time` is 0 while the session runs.
formats::EtlLogHeader DescribeFile(const ControlMap& map, const FilePlace& place, std::int64_t end_time);

/// Writes all of `bytes` at `offset`. @return false when it could not, the disk being full or a limit being reached; no
/// signal comes of it.
bool WriteWhole(int fd, std::uint64_t offset, std::span<const std::byte> bytes) noexcept;

class SessionFile {
 public:
  enum class Wait { kNo, kYes };
  /// How long a waiting caller waits for the lock's holder.
  static constexpr std::chrono::milliseconds kLockPatience{2000};

  /// `lock_path` is the session's lock file. A file outside `root`, the machine's folder, is never touched, whatever
  /// the control page says.
  SessionFile(std::shared_ptr<ControlMap> map, std::string lock_path, std::string root);

  /// Passes on what is closed. With kNo it gives up when another is at it or a living writer holds a buffer up; with
  /// kYes it waits for both. @return whether everything that was closed when it was called has been passed.
  bool WriteClosed(const Participant& self, Wait wait) noexcept;

  /// Rewrites the header buffer at the end of the session and cuts off what a failed write left behind the last buffer.
  bool WriteEnd(std::int64_t end_time) noexcept;

  /// Runs `work` under the exclusive lock, waiting for it. @return false when it was not to be had.
  template <typename Work>
  bool Exclusively(Work work) noexcept {
    const Held held(*this, LockKind::kExclusive, Wait::kYes);
    if (!held.ok()) return false;
    work();
    return true;
  }

  /// Reads `into.size()` bytes of one buffer of the session's file at `offset` under the shared lock. While a stopped
  /// process holds the other one, it reads without: what is not the place that is being written stands still. @return
  /// false when the bytes are not there, or are being written.
  bool ReadShared(std::uint64_t offset, std::span<std::byte> into) noexcept;

  /// The whole buffers that the file holds now, the header buffer included.
  std::uint64_t BuffersOnDisk() noexcept;

  /// The first place (in buffers) from `place` on at which the file may hold bytes; ~0 when there is none. What was
  /// never written takes no step of its own, so that a file far longer than its content is searched in the time of its
  /// content.
  std::uint64_t NextPlaceOnDisk(std::uint64_t place) noexcept;

 private:
  class Held {
   public:
    Held(SessionFile& file, LockKind kind, Wait wait) noexcept;
    ~Held();
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    bool ok() const noexcept { return ok_; }

   private:
    SessionFile& file_;
    std::unique_lock<std::mutex> inner_;
    bool ok_ = false;
  };

  bool ReadAt(std::uint64_t offset, std::span<std::byte> into) noexcept;
  bool ReadBesideWriter(std::uint64_t offset, std::span<std::byte> into) noexcept;
  bool EnsureLockFd() noexcept;
  bool IsInsideRoot(int fd) const noexcept;
  int DataFd() noexcept;
  bool PassAll(const Participant& self, Wait wait) noexcept;
  void PassBuffer(std::uint32_t slot, std::uint64_t sequence, FilePlace place) noexcept;
  bool HasClosed() const noexcept;

  const std::shared_ptr<ControlMap> map_;
  const std::string lock_path_;
  const std::string root_;
  const FileShape shape_;
  std::mutex mutex_;                   // an open file description's lock excludes other descriptions only
  UniqueFd lock_fd_;                   // guarded by mutex_
  UniqueFd data_fd_;                   // guarded by mutex_
  std::uint32_t data_generation_ = 0;  // guarded by mutex_
  std::vector<std::byte> scratch_;     // guarded by mutex_
  bool holder_stands_ = false;         // guarded by mutex_; a reader has waited for the lock in vain
};

}  // namespace varnel::embedded::ring
